#include "runner/sweep/sweep_table.hpp"

#include <algorithm>
#include <array>
#include <set>
#include <system_error>
#include <utility>

#include "platform/qalc.hpp"
#include "platform/qat.hpp"
#include "platform/text.hpp"
#include "runner/description/xml_reader.hpp"
#include "runner/error.hpp"
#include "runner/text/arrays.hpp"
#include "runner/text/printable.hpp"

namespace vtio::runner {
namespace {

namespace fs = std::filesystem;

vtu::qxArrayWrapper oneStructure(std::vector<const char*>& fields) {
  constexpr std::array<std::size_t, 2> kOne{1, 1};
  return vtu::qxArrayWrapper(
      qxCreateStructArray(kOne.size(), kOne.data(), static_cast<int>(fields.size()), fields.data()));
}

std::string textOf(const qxArray* array) {
  if (array == nullptr || qxGetClassID(array) != qxCHAR) throw RunnerError("a text is missing");
  return vtu::to_string(std::u16string_view(qxGetChars(array), qxGetNumberOfElements(array)));
}

double numberOf(const qxArray* array) {
  const bool isNumber = array != nullptr && qxGetClassID(array) == qxDOUBLE && qxGetNumberOfElements(array) == 1;
  if (!isNumber) throw RunnerError("a number is missing");
  return qxGetScalar(array);
}

}  // namespace

SweepTable::SweepTable(SweepPlan plan, std::vector<std::string> finalNames)
    : plan_(std::move(plan)), finalNames_(std::move(finalNames)), rows_(plan_.values.size()) {
  std::set<std::string> taken{"status", "message", "seconds", "lastTime"};
  for (const std::vector<std::string>* names : {&plan_.names, &finalNames_}) {
    for (const std::string& name : *names) {
      if (!taken.insert(name).second)
        throw RunnerError("two columns of the sweep are called '" + printable(name) + "'");
    }
  }
  for (std::size_t i = 0; i < plan_.names.size(); ++i) areNumbers_.push_back(isNumber(i));
  for (SweepRow& row : rows_) row.finals.assign(finalNames_.size(), std::numeric_limits<double>::quiet_NaN());
}

bool SweepTable::isNumber(std::size_t parameter) const {
  return std::all_of(plan_.values.begin(), plan_.values.end(), [parameter](const std::vector<std::string>& run) {
    return parseXmlNumber(run[parameter]).has_value();
  });
}

void SweepTable::save(const fs::path& file) const {
  std::vector<std::string> names = plan_.names;
  names.insert(names.end(), {"status", "message", "seconds", "lastTime"});
  names.insert(names.end(), finalNames_.begin(), finalNames_.end());
  std::vector<const char*> fields;
  fields.reserve(names.size());
  for (const std::string& name : names) fields.push_back(name.c_str());
  vtu::qxCellArrayWrapper cells(rows_.size(), 1);
  for (std::size_t run = 0; run < rows_.size(); ++run) {
    const SweepRow& row = rows_[run];
    vtu::qxArrayWrapper record = oneStructure(fields);
    const auto set = [&record](const std::string& name, vtu::qxArrayWrapper value) {
      qxSetField(record.get(), 0, name.c_str(), value.release());
    };
    for (std::size_t i = 0; i < plan_.names.size(); ++i) {
      const std::string& text = plan_.values[run][i];
      set(plan_.names[i], areNumbers_[i] ? numberArray(*parseXmlNumber(text)) : textArray(text));
    }
    set("status", textArray(row.status));
    set("message", textArray(row.message));
    set("seconds", numberArray(row.seconds));
    set("lastTime", numberArray(row.lastTime));
    for (std::size_t i = 0; i < finalNames_.size(); ++i) set(finalNames_[i], numberArray(row.finals[i]));
    cells.set(run, std::move(record));
  }
  const fs::path beside = file.string() + ".new";
  vtu::QatFileWrapper qat(beside.c_str(), "w");
  if (!qat || qat.put("runs", cells.get()) != 0 || qat.close() != 0) {
    throw RunnerError(ExitStatus::failed, std::string("cannot save: ") + qatLastError(), printable(file.string()));
  }
  std::error_code error;
  fs::rename(beside, file, error);
  if (error) throw RunnerError(ExitStatus::failed, "cannot save: " + error.message(), printable(file.string()));
}

SweepRow SweepTable::readRow(const qxArray* record, std::size_t run) const {
  const auto field = [record](const std::string& name) {
    return record != nullptr && qxGetClassID(record) == qxSTRUCT ? qxGetField(record, 0, name.c_str()) : nullptr;
  };
  for (std::size_t i = 0; i < plan_.names.size(); ++i) {
    const std::string& text = plan_.values[run][i];
    const qxArray* saved = field(plan_.names[i]);
    const bool same = areNumbers_[i] ? numberOf(saved) == *parseXmlNumber(text) : textOf(saved) == text;
    if (!same) throw RunnerError("'" + printable(plan_.names[i]) + "' is another value");
  }
  SweepRow row;
  row.status = textOf(field("status"));
  row.message = textOf(field("message"));
  row.seconds = numberOf(field("seconds"));
  row.lastTime = numberOf(field("lastTime"));
  for (const std::string& name : finalNames_) row.finals.push_back(numberOf(field(name)));
  return row;
}

void SweepTable::take(const fs::path& file) {
  vtu::QatFileWrapper qat(file.c_str(), "r");
  const std::string place = printable(file.string());
  if (!qat) throw RunnerError(std::string("--resume: ") + qatLastError(), place);
  const vtu::qxArrayWrapper runs = qat.variable("runs");
  if (!runs || qxGetClassID(runs.get()) != qxCELL || qxGetNumberOfElements(runs.get()) != rows_.size()) {
    throw RunnerError("--resume: the file does not hold " + std::to_string(rows_.size()) + " runs", place);
  }
  for (std::size_t run = 0; run < rows_.size(); ++run) {
    try {
      SweepRow row = readRow(qxGetCell(runs.get(), run), run);
      if (row.status != "pending" && rows_[run].status != "done") rows_[run] = std::move(row);
    } catch (const RunnerError& error) {
      throw RunnerError(std::string("--resume: the file holds another sweep: ") + error.what(),
                        place + " run " + std::to_string(run));
    }
  }
}

}  // namespace vtio::runner
