#include "results/export/sqlite.hpp"

#include <limits>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <type_traits>
#include <utility>

#include "results/export/json.hpp"
#include "results/export/sqlite_database.hpp"
#include "results/rows/joined_rows.hpp"
#include "results/rows/resampled_rows.hpp"
#include "results/values/shown_value.hpp"

namespace vtio::results {
namespace {

constexpr std::size_t kMostColumns = 2000;  // of a SQLite table, `time` included

void bindValue(SqliteInsert& insert, int parameter, const ShownValue& value) {
  std::visit(
      [&]<class T>(const T& shown) {
        if constexpr (std::is_same_v<T, float>) {
          insert.bind(parameter, static_cast<double>(shown));
        } else if constexpr (std::is_same_v<T, bool>) {
          insert.bind(parameter, std::int64_t{shown ? 1 : 0});
        } else if constexpr (std::is_same_v<T, std::uint64_t>) {
          if (shown > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
            insert.bind(parameter, std::string_view(std::to_string(shown)));
          } else {
            insert.bind(parameter, static_cast<std::int64_t>(shown));
          }
        } else {
          insert.bind(parameter, shown);
        }
      },
      value);
}

// SQLite takes names that differ in the case of ASCII letters only for the same.
std::string folded(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

class UniqueNames {
 public:
  std::string make(const std::string& wanted) {
    std::string name = wanted;
    for (int n = 2; !taken_.insert(folded(name)).second; ++n) name = wanted + "#" + std::to_string(n);
    return name;
  }

 private:
  std::set<std::string> taken_{"time"};
};

/// Tables that together hold the rows of one source.
class SampleTables {
 public:
  SampleTables(SqliteDatabase& database, std::string name, RowSource& rows)
      : database_(database), name_(std::move(name)), rows_(rows) {
    for (const SignalInfo* signal : rows.signals()) addColumns(*signal);
    if (parts_.empty()) parts_.push_back({name_, {}, nullptr});
    for (Part& part : parts_) create(part);
  }

  void writeRows(bool raw, const Job& job) {
    std::vector<ShownValues> values;
    for (const SignalInfo* signal : rows_.signals()) values.emplace_back(*signal, raw);
    for (std::uint64_t count = 0; rows_.next(); ++count) {
      if (count % 256 == 0) job.step(rows_.done());
      for (Part& part : parts_) part.insert->bind(1, rows_.time());
      auto place = places_.begin();
      for (std::size_t i = 0; i < values.size(); ++i) {
        const SampleView sample = rows_.sample(i);
        const std::size_t cells = rows_.signals()[i]->width() * rows_.signals()[i]->type.parts();
        for (std::size_t cell = 0; cell < cells; ++cell, ++place) {
          SqliteInsert& insert = *parts_[place->first].insert;
          if (sample.exists())
            bindValue(insert, place->second, values[i](sample, cell));
          else
            insert.bindNull(place->second);
        }
      }
      for (Part& part : parts_) part.insert->run();
    }
  }

  /// Where a signal is: [{"table": …, "columns": […]}].
  [[nodiscard]] std::string placeOf(const SignalInfo& signal) const { return jsonText(descriptions_.at(&signal)); }

 private:
  struct Part {
    std::string name;
    std::vector<std::string> columns;
    std::unique_ptr<SqliteInsert> insert;
  };

  void addColumns(const SignalInfo& signal) {
    std::vector<std::pair<std::string, std::vector<std::string>>> tables;  // with the columns in each
    for (const std::string& cell : cellNames(signal)) {
      if (parts_.empty() || parts_.back().columns.size() + 2 > kMostColumns) startPart();
      Part& part = parts_.back();
      part.columns.push_back(names_.make(cell));
      places_.emplace_back(parts_.size() - 1, static_cast<int>(part.columns.size()) + 1);
      if (tables.empty() || tables.back().first != part.name)
        tables.emplace_back(part.name, std::vector<std::string>());
      tables.back().second.push_back(part.columns.back());
    }
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const auto& [table, columns] : tables) list.push_back({{"table", table}, {"columns", columns}});
    descriptions_.emplace(&signal, std::move(list));
  }

  void startPart() {
    const std::string suffix = parts_.empty() ? "" : "_" + std::to_string(parts_.size() + 1);
    parts_.push_back({name_ + suffix, {}, nullptr});
    names_ = {};
  }

  void create(Part& part) {
    std::string columns = "\"time\" REAL";
    std::string parameters = "?";
    for (const std::string& column : part.columns) {
      columns += ", " + sqliteName(column);
      parameters += ", ?";
    }
    database_.execute("CREATE TABLE " + sqliteName(part.name) + " (" + columns + ")");
    part.insert = std::make_unique<SqliteInsert>(
        database_, "INSERT INTO " + sqliteName(part.name) + " VALUES (" + parameters + ")");
  }

  SqliteDatabase& database_;
  std::string name_;
  RowSource& rows_;
  std::vector<Part> parts_;
  std::vector<std::pair<std::size_t, int>> places_;  // of each cell: part, parameter
  std::map<const SignalInfo*, nlohmann::ordered_json> descriptions_;
  UniqueNames names_;
};

void writeSignals(SqliteInsert& insert, const SampleTables& tables, const std::vector<const SignalInfo*>& signals) {
  for (const SignalInfo* signal : signals) {
    const SignalPlace& place = signal->place;
    const std::string type = std::string(nameOf(signal->type.id)) + (signal->type.isComplex ? ".complex" : "");
    int parameter = 0;
    insert.bind(++parameter, std::string_view(signal->name));
    insert.bind(++parameter, std::string_view(signal->unit));
    insert.bind(++parameter, std::string_view(type));
    insert.bind(++parameter, std::string_view(dimensionsText(signal->dimensions)));
    for (const std::uint64_t number :
         {std::uint64_t{place.firstColumn}, std::uint64_t{signal->width()}, place.begin, place.count}) {
      insert.bind(++parameter, static_cast<std::int64_t>(number));
    }
    insert.bind(++parameter, std::string_view(tables.placeOf(*signal)));
    insert.run();
  }
}

}  // namespace

void writeSqlite(const ResultsFile& file, const std::vector<const SignalInfo*>& signals, const SqliteSettings& settings,
                 TargetFile& target, const Job& job) {
  SqliteDatabase database(target.temporaryPath(), target.path());
  // Nobody else opens the file before it is renamed: no journal is needed.
  database.execute("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; BEGIN");
  database.execute(
      "CREATE TABLE signals (name TEXT PRIMARY KEY, unit TEXT, class TEXT, dims TEXT, first INTEGER, width INTEGER, "
      "\"begin\" INTEGER, \"count\" INTEGER, samples TEXT)");
  {
    SqliteInsert insert(database, "INSERT INTO signals VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
    const auto write = [&](const std::string& name, RowSource& rows) {
      SampleTables tables(database, name, rows);
      writeSignals(insert, tables, rows.signals());
      tables.writeRows(settings.raw, job);
    };
    if (settings.step) {
      ResampledRows rows(file, signals, settings.range, *settings.step);
      write("samples_0", rows);
    } else {
      for (TableGroup& group : groupByTable(signals)) {
        JoinedRows rows(file, std::move(group.signals), settings.range);
        write("samples_" + std::to_string(group.table), rows);
      }
    }
  }
  database.execute("COMMIT");
}

}  // namespace vtio::results
