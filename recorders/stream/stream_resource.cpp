#include "recorders/stream/stream_resource.hpp"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <numeric>
#include <stdexcept>
#include <unordered_map>

#include "platform/diagnostics.hpp"
#include "platform/text.hpp"
#include "recorders/dataset/node_structure.hpp"
#include "recorders/memory/memory_recorder.hpp"
#include "recorders/stream/last_error.hpp"

namespace vtio::recorders {
namespace {

using core::client::Catalogue;
using core::client::Client;

/// A clock that is cheap to read and exact to some milliseconds.
std::int64_t now() {
  struct timespec time {};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
  return std::int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

/// Calls use(client) for every client of a dataset that is saved.
template <typename Use>
void forEachClient(const Catalogue& catalogue, const Use& use) {
  for (const Catalogue::ResultsVariable& variable : catalogue.resultsVariables()) {
    if (!catalogue.hasDataset(variable.dataset)) continue;
    for (const auto& [id, client] : catalogue.clientCollection(variable.dataset)) use(*client);
  }
}

}  // namespace

StreamResource::StreamResource(Catalogue& catalogue, const std::string& file, std::shared_ptr<TableBuilder> builder)
    : SharedResource(file),
      catalogue_(catalogue),
      builder_(std::move(builder)),
      strays_({[this]() -> vtu::QatStream& { return openStream(); }, [this]() -> vtu::QatStream& { return *stream_; },
               [this] { return closedState_ == nullptr; }, [this](const char* cause) { stop(cause); },
               [this] { introduce(); }, [this] { setLeafEnds(); },
               [this](const vtu::StreamLeaf& leaf) { return left(leaf); }}),
      newest_(*builder_) {
  flushInterval(kFlushInterval);
}

StreamResource::~StreamResource() {
  if (builder_->sink() == this) builder_->streamTo(nullptr);
}

void StreamResource::open() {
  stream_.emplace(name());
  builder_->streamTo(this);
  due_ = now() + interval_;
}

void StreamResource::flushInterval(double seconds) {
  if (!(seconds >= 0)) throw std::invalid_argument("A flush interval of " + std::to_string(seconds) + " s is negative");
  interval_ = static_cast<std::int64_t>(std::min(seconds, 1e9) * 1e9);
  due_ = now() + interval_;
}

/// Runs what may fail, once at a time: building the variables closes the catalogue's resources, this one included.
template <typename Work>
void StreamResource::working(Work&& work) noexcept {
  if (isWorking_ || isStopped() || !stream_) return;
  isWorking_ = true;
  try {
    work();
  } catch (const std::exception& error) {
    stop(error.what());
  } catch (...) {
    stop("unknown error");
  }
  isWorking_ = false;
}

void StreamResource::stop(const char* cause) noexcept {
  isStopped_ = true;
  tell(cause);
}

void StreamResource::tell(const char* cause) noexcept {
  if (!failure_.empty()) return;
  try {
    std::error_code none;
    const auto size = std::filesystem::file_size(name(), none);
    const auto message =
        vtsvCreateDiagnostic("Vortan:FileIO", "CannotStream",
                             {vtu::to_ustring(name()), vtu::to_ustring(cause),
                              vtu::to_ustring(none ? std::string("an unknown number of") : std::to_string(size))});
    try {
      vtsvThrowIExceptionFromDiagnostic(message);
    } catch (const std::exception& told) {
      failure_ = told.what();
    }
  } catch (...) {
    failure_ = "The samples cannot be streamed";
  }
  setLastError(failure_);
}

void StreamResource::rowBegins() noexcept {
  constexpr std::size_t kMostKept = std::size_t{4} << 20U;
  constexpr std::uint32_t kFewestRows = 100;
  if (!isLaidOut_ && ++begun_ < kFewestRows) return;
  if (++sincePush_ >= newest_.due()) working([this] { pushNewest(); });
  const bool mustLayOut = !isLaidOut_ && kept_ > kMostKept;
  if (interval_ > 0 && !mustLayOut && now() < due_) return;
  flushRows(false);
}

void StreamResource::flush() noexcept { flushRows(true); }

void StreamResource::flushRows(bool all) noexcept {
  due_ = now() + interval_;
  working([this, all] {
    if (!isLaidOut_) layOut();
    regain();
    builder_->spill(all);
    strays_.write();
    setLeafEnds();
    if (closedState_ != nullptr && !newest_.isEmpty() && closedState_ != builder_->capture()) openStream();
    pushNewest();
    if (closedState_ == nullptr && !isStopped()) stream_->flush(syncs_);
  });
}

void StreamResource::close() {
  if (isStopped()) return closeStopped();
  working([this] { closeFile(); });
}

/// What is in the file stays readable.
void StreamResource::closeStopped() noexcept {
  try {
    if (!stream_ || isWorking_) return;
    if (isLaidOut_) setLeafEnds();
    stream_->close();
  } catch (const std::exception& error) {
    tell(error.what());
  }
}

void StreamResource::closeFile() {
  if (!isLaidOut_) layOut();
  if (closedState_ != nullptr && closedState_ == builder_->capture()) return;
  regain();
  builder_->spill(true);
  strays_.write();
  if (isStopped()) return;
  werePut_ = mustPutVariables();  // from then on elements may refer to tables that do not grow
  if (werePut_) takeAll();
  const Variables values = werePut_ ? variables() : Variables();
  openStream();
  setLeafEnds();
  std::vector<vtu::StreamVariable> borrowed;
  borrowed.reserve(values.size());
  for (const auto& [key, value] : values) borrowed.push_back({key, value.get()});
  stream_->close(borrowed, werePut_ ? rings() : std::vector<vtu::StreamRing>());
  for (const std::uint32_t position : strays_.moved(*stream_)) builder_->forgetRows(position);
  closedState_ = builder_->capture();
}

void StreamResource::layOut() {
  std::vector<FileTable> found = findTables();
  const Variables values = variables();
  std::vector<vtu::StreamVariable> borrowed;
  borrowed.reserve(values.size());
  for (const auto& [key, value] : values) borrowed.push_back({key, value.get()});
  const std::vector<vtu::StreamTable> tables = describe(std::move(found));
  clients_ = numberOfClients();
  stream_->layOut(borrowed, tables, rings());
  isLaidOut_ = true;
  pushNewest();
  for (std::uint32_t k = 0; k < tables.size(); ++k) {
    tables_[k].rows = tables[k].rows->rows();
    if (!tables_[k].gathered) continue;
    streamAs(k, std::exchange(tables_[k].gathered, {}));
  }
}

/// Lets the builder stream a table whose rows are in the file.
void StreamResource::streamAs(std::uint32_t number, const Ref<Table>& table) {
  table->stream(tables_[number].stored, stream_->rows(number), tables_[number].hasTexts);
  builder_->setStreamed(number, table);
}

/// A step back to a time before the file was laid out has emptied its tables: their positions return to them. Those
/// that were not recorded at the same times then become strays.
void StreamResource::regain() {
  builder_->settle();
  if (!builder_->takeWentBack()) return;
  for (std::uint32_t k = 0; k < builder_->streamed().size(); ++k) {
    if (builder_->streamed()[k] && builder_->streamed()[k]->isGivenUp()) regainTable(k);
  }
  for (std::uint32_t position = 0; position < builder_->size() && !isStopped(); ++position) {
    if (strays_.knows(position) && builder_->hasOthers(position)) builder_->makeStray(position);
  }
  for (std::uint32_t k = 0; k < tables_.size(); ++k) {
    tables_[k].isGivenUp = tables_[k].isGivenUp && builder_->streamed()[k]->isGivenUp();
  }
}

void StreamResource::regainTable(std::uint32_t number) {
  const FileTable& file = tables_[number];
  const auto groups = builder_->together(file.positions);
  const auto most =
      std::max_element(groups.begin(), groups.end(), [](const auto& a, const auto& b) { return a.size() < b.size(); });
  if (most == groups.end()) return;
  std::vector<std::uint32_t> offsets;
  offsets.reserve(most->size());
  for (const std::uint32_t position : *most) {
    const auto place = std::find(file.positions.begin(), file.positions.end(), position) - file.positions.begin();
    offsets.push_back(file.offsets[static_cast<std::size_t>(place)]);
  }
  const Ref<Table> table = builder_->gather(*most, offsets, file.rowBytes);
  const auto rows = table->view();
  openStream();
  if (builder_->hasOneGoneBack()) cutTo(number, 0);
  keepLeafEnds(number);
  if (put(number, *rows, 0, 0, rows->rows())) streamAs(number, table);
}

vtu::QatStream& StreamResource::openStream() {
  if (closedState_ != nullptr) {
    closedState_ = nullptr;
    stream_->reopen();
    sincePush_ = newest_.due();
    if (std::exchange(hidesNewest_, false)) newest_.stepBack(*stream_, [](std::uint32_t) { return 0; });
  }
  return *stream_;
}

std::vector<vtu::StreamRing> StreamResource::rings() {
  std::vector<const MemoryRecorder*> recorders;
  forEachClient(catalogue_, [&](const Client& client) {
    const auto* recorder = dynamic_cast<const MemoryRecorder*>(&client);
    if (recorder != nullptr && &recorder->builder() == builder_.get()) recorders.push_back(recorder);
  });
  return newest_.rings(recorders);
}

/// Gives the file the samples of signals with a limit of points.
void StreamResource::pushNewest() {
  if (!isLaidOut_ || closedState_ != nullptr || isStopped()) return;
  sincePush_ = 0;
  newest_.push(*stream_);
}

void StreamResource::goesBack(const Left& left) noexcept {
  if (!isLaidOut_ || isStopped() || newest_.isEmpty()) return;
  sincePush_ = newest_.due();
  hidesNewest_ = closedState_ != nullptr;
  if (hidesNewest_) return;
  try {
    newest_.stepBack(*stream_, left);
  } catch (const std::exception& error) {
    stop(error.what());
  }
}

vtu::StreamLeaf StreamResource::leafOf(std::uint32_t table, std::uint32_t record, const LeafRun& leaf) {
  return {table, record, leaf.column.id, leaf.column.isComplex, static_cast<std::uint32_t>(leaf.column.bytes())};
}

/// The signals that came after the layout, all at once. @throws std::exception
void StreamResource::introduce() {
  for (const Catalogue::ResultsVariable& variable : catalogue_.resultsVariables()) {
    if (!catalogue_.hasDataset(variable.dataset)) continue;
    for (const auto& [id, client] : catalogue_.clientCollection(variable.dataset)) {
      const auto* recorder = dynamic_cast<const MemoryRecorder*>(client.get());
      if (recorder == nullptr || &recorder->builder() != builder_.get()) continue;
      const std::uint32_t first = recorder->firstPosition();
      if (strays_.knows(first) || builder_->maxPoints(first) != 0) continue;
      describeLate(variable.key, vtu::to_string(variable.dataset), *client);
    }
  }
}

void StreamResource::describeLate(const std::string& variable, const std::string& dataset, Client& client) {
  std::vector<std::uint32_t> positions;
  for (const LeafRun& leaf : static_cast<const MemoryRecorder&>(client).runs()) {
    const bool isNew = positions.empty() || positions.back() != leaf.position;
    if (isNew) positions.push_back(leaf.position);
    strays_.addLeaf(leaf.position, leafOf(vtu::StreamLeaf::kLate, strays_.nextLate(), leaf));
  }
  for (const std::uint32_t position : positions) {
    const bool isShared = builder_->sourceOf(position) != position;
    if (!isShared && !builder_->makeStray(position)) strays_.begin(position, 0);  // the one that asks
  }
  const vtu::qxArrayWrapper element = client.datasetElement();
  strays_.addDescriptions(std::move(positions), stream_->describe(variable, dataset, *element.get()));
}

/// Lets all signals without samples have a place in the file that is closed: their elements will not be described
/// again.
void StreamResource::takeAll() {
  introduce();
  for (std::uint32_t position = 0; position < builder_->size(); ++position) {
    if (strays_.knows(position) && builder_->recorded(position) == 0) builder_->makeStray(position);
  }
}

StreamResource::Variables StreamResource::variables() {
  Variables values;
  for (const Catalogue::ResultsVariable& variable : catalogue_.resultsVariables()) {
    vtu::qxArrayWrapper value = catalogue_.resultsArray(variable);
    if (value) values.emplace_back(variable.key, std::move(value));
  }
  return values;
}

/// Gathers the positions that were recorded at the same times, each group in a table.
std::vector<StreamResource::FileTable> StreamResource::findTables() {
  std::vector<std::uint32_t> all(builder_->size());
  std::iota(all.begin(), all.end(), 0U);
  std::vector<FileTable> found;
  for (auto& group : builder_->together(all)) {
    FileTable& table = found.emplace_back();
    for (const std::uint32_t position : group) {
      table.offsets.push_back(table.rowBytes);
      table.rowBytes += builder_->bytes(position);
    }
    table.gathered = builder_->gather(group, table.offsets, table.rowBytes);
    table.positions = std::move(group);
  }
  return found;
}

/// The tables as they are in the file. One is left in memory if it has samples of a position whose leaves are unknown:
/// of a recorder that is in no dataset.
std::vector<vtu::StreamTable> StreamResource::describe(std::vector<FileTable> found) {
  std::unordered_map<const vtu::SampleTable*, std::vector<LeafRun>> runs;
  forEachClient(catalogue_, [&](const Client& client) {
    const auto* recorder = dynamic_cast<const MemoryRecorder*>(&client);
    if (recorder == nullptr || &recorder->builder() != builder_.get()) return;
    for (LeafRun& run : recorder->runs()) runs[run.table.get()].push_back(std::move(run));
  });
  std::vector<vtu::StreamTable> described;
  for (FileTable& file : found) {
    const auto number = static_cast<std::uint32_t>(described.size());
    vtu::StreamTable table{file.gathered->view(), {}};
    std::vector<LeafRun>& leaves = runs[table.rows.get()];
    std::stable_sort(leaves.begin(), leaves.end(),
                     [](const LeafRun& a, const LeafRun& b) { return a.column.offset < b.column.offset; });
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < leaves.size(); ++i) {
      const bool isShared = i > 0 && leaves[i].column.offset == leaves[i - 1].column.offset;
      if (!isShared || leaves[i - 1].column.bytes() == 0) bytes += leaves[i].column.bytes();
    }
    if (bytes != file.rowBytes) continue;
    file.stored = std::make_shared<vtu::StoredTable>(vtu::StoredTable{name(), number, {}});
    for (LeafRun& leaf : leaves) {
      const auto record = static_cast<std::uint32_t>(table.leaves.size());
      file.leaves.push_back(leaf.position);
      strays_.addLeaf(leaf.position, leafOf(number, record, leaf));
      if (leaf.column.bytes() > 0) file.stored->records.emplace(leaf.column.offset, record);
      file.hasTexts = file.hasTexts || leaf.column.id == qxCELL;
      table.leaves.push_back(std::move(leaf.column));
    }
    described.push_back(std::move(table));
    tables_.push_back(std::move(file));
  }
  for (auto& [table, leaves] : runs) {
    if (table->rows() == 0) describeEmpty(leaves, described);
  }
  return described;
}

/// The table of the signals that have no samples yet.
void StreamResource::describeEmpty(std::vector<LeafRun>& leaves, std::vector<vtu::StreamTable>& described) {
  const auto number = static_cast<std::uint32_t>(described.size());
  std::stable_sort(leaves.begin(), leaves.end(),
                   [](const LeafRun& a, const LeafRun& b) { return a.column.offset < b.column.offset; });
  vtu::StreamTable table{leaves.front().table, {}};
  for (LeafRun& leaf : leaves) {
    if (builder_->maxPoints(leaf.position) != 0) continue;
    strays_.addLeaf(leaf.position, leafOf(number, static_cast<std::uint32_t>(table.leaves.size()), leaf));
    table.leaves.push_back(std::move(leaf.column));
  }
  if (table.leaves.empty()) return;
  described.push_back(std::move(table));
  tables_.emplace_back();
}

std::size_t StreamResource::numberOfClients() {
  std::size_t count = 0;
  forEachClient(catalogue_, [&count](const Client&) { ++count; });
  return count;
}

void StreamResource::setLeafEnds() {
  if (closedState_ != nullptr) return;
  for (std::uint32_t k = 0; k < tables_.size(); ++k) {
    for (std::uint32_t record = 0; record < tables_[k].leaves.size(); ++record) {
      const std::uint32_t position = builder_->sourceOf(tables_[k].leaves[record]);
      const auto strayed = strays_.inTable(position);
      if (!strayed && tables_[k].isGivenUp) continue;  // stepBack() has set it
      const std::uint64_t end = strayed ? *strayed : builder_->endOfRun(position, *builder_->streamed()[k], 0);
      stream_->endLeaf(k, record, end >= tables_[k].rows ? std::nullopt : std::optional(end));
    }
  }
}

/// From now on rows of a table that come later have no samples of its leaves.
void StreamResource::keepLeafEnds(std::uint32_t table) {
  for (std::uint32_t record = 0; record < tables_[table].leaves.size(); ++record) {
    stream_->endLeaf(table, record, stream_->count(table, record));
  }
}

/// Samples of a leaf in a table that was given up.
std::uint64_t StreamResource::left(const vtu::StreamLeaf& leaf) const {
  const bool isLeft = leaf.table < tables_.size() && tables_[leaf.table].isGivenUp && !builder_->hasOneGoneBack();
  return isLeft ? stream_->count(leaf.table, leaf.column) : 0;
}

/// True if there are samples outside the streamed tables, or elements that the file does not have.
bool StreamResource::mustPutVariables() {
  if (werePut_ || numberOfClients() != clients_ || !newest_.isEmpty()) return true;
  bool isForeign = false;
  forEachClient(catalogue_, [&](const Client& client) {
    const auto* recorder = dynamic_cast<const MemoryRecorder*>(&client);
    isForeign = isForeign || recorder == nullptr || &recorder->builder() != builder_.get();
  });
  if (isForeign || !strays_.isEmpty()) return true;
  for (std::uint32_t position = 0; position < builder_->size(); ++position) {
    if (builder_->hasOthers(position)) return true;
  }
  return false;
}

/// Readers learn of it at once, and of the ends of leaves that are set.
void StreamResource::cutTo(std::uint32_t table, std::uint64_t rows) {
  vtu::QatStream::Mark mark = stream_->mark();
  mark.rows[table] = std::min(rows, tables_[table].rows);
  stream_->stepBack(mark);
  tables_[table].rows = mark.rows[table];
}

bool StreamResource::put(std::uint32_t table, const vtu::SampleTable& source, std::uint64_t first, std::uint64_t at,
                         std::uint64_t count) noexcept {
  if (isStopped()) return false;
  try {
    openStream();
    if (tables_[table].rows > at + count) cutTo(table, at + count);
    if (tables_[table].rows > at) {
      stream_->overwrite(table, at, source, first, count);
    } else {
      stream_->append(table, source, first, count);
    }
    tables_[table].rows = at + count;
    return true;
  } catch (const std::exception& error) {
    stop(error.what());
  }
  return false;
}

std::uint64_t StreamResource::stepBack(std::uint32_t table, std::optional<std::uint64_t> rows,
                                       const Left& left) noexcept {
  FileTable& file = tables_[table];
  if (isStopped()) return rows.value_or(0);
  try {
    std::vector<std::uint64_t> counts;
    std::uint64_t most = 0;
    bool isLess = false;
    for (const std::uint32_t position : file.leaves) {
      const std::uint64_t count = stream_->count(table, static_cast<std::uint32_t>(counts.size()));
      counts.push_back(std::min(count, left(position)));
      most = std::max(most, counts.back());
      isLess = isLess || counts.back() < count;
    }
    file.isGivenUp = !rows;
    const std::uint64_t now = std::min(file.rows, rows.value_or(most));
    if (now == file.rows && !isLess) return now;
    openStream();
    for (std::uint32_t record = 0; record < counts.size(); ++record) {
      if (counts[record] < now) stream_->endLeaf(table, record, counts[record]);
    }
    cutTo(table, now);
    return now;
  } catch (const std::exception& error) {
    stop(error.what());
  }
  return 0;
}

}  // namespace vtio::recorders
