/// @file
/// The file that a run's samples are streamed into. Not installed; made by RecordingSession.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/qat_stream.hpp"
#include "recorders/dataset/node_structure.hpp"
#include "recorders/stream/newest_streamer.hpp"
#include "recorders/stream/stray_streamer.hpp"
#include "recorders/table/row_sink.hpp"
#include "recorders/table/table_builder.hpp"
#include "vtio/core/client/catalogue.hpp"
#include "vtio/core/client/shared_resource.hpp"

namespace vtio::recorders {

/// Streams the tables of a builder into one Qat file, which has the catalogue's results variables as well.
///
/// What is recorded until the first flush, some rows at least, is kept in memory: it shows which signals share their
/// times. These signals get tables in the file, and their rows go there. What does not fit them goes to the log of
/// strays: samples of signals that missed a row or came later. close() puts those into tables, too. Signals with a
/// limit of points stay in memory, and are copied to rings of the file.
///
/// Acts on the thread of the simulation. The catalogue owns it and destroys it before the recorders. After open()
/// nothing throws: the first failure is kept. After one of the file no more samples are recorded.
class StreamResource final : public core::client::SharedResource, private RowSink {
 public:
  static constexpr double kFlushInterval = 1;  ///< in seconds of wall time

  /// @param catalogue Outlives the resource.
  /// @param file UTF-8 name of the file and of the resource.
  StreamResource(core::client::Catalogue& catalogue, const std::string& file, std::shared_ptr<TableBuilder> builder);
  ~StreamResource() override;

  /// Makes the file and keeps others from writing it.
  /// @throws std::runtime_error with the file and the cause.
  void open() override;

  /// Makes the file a plain Qat file with all samples recorded so far.
  void close() override;

  /// Does nothing: the next rows open the file again.
  void reopen() override {}

  /// Lets readers see what was recorded so far.
  void flush() noexcept;

  /// Sets the time between two flushes. @param seconds At least 0; 0: after every row.
  void flushInterval(double seconds);

  /// Whether each flush waits until the disk has the data, so that it outlives the machine, too.
  void syncs(bool toDisk) { syncs_ = toDisk; }

  /// The first failure, in a sentence; empty if there was none.
  [[nodiscard]] const std::string& failure() const { return failure_; }

  [[nodiscard]] const std::shared_ptr<TableBuilder>& builder() const { return builder_; }

 private:
  /// A table of the file. Its positions' runs begin with the first row.
  struct FileTable {
    std::vector<std::uint32_t> positions;
    std::vector<std::uint32_t> offsets;  // of each in a row
    std::uint32_t rowBytes = 0;
    bool hasTexts = false;
    std::uint64_t rows = 0;  // in the file
    bool isGivenUp = false;
    std::vector<std::uint32_t> leaves;  // their positions, by record
    std::shared_ptr<vtu::StoredTable> stored;
    Ref<Table> gathered;  // until it is laid out
  };
  using Variables = std::vector<std::pair<std::string, vtu::qxArrayWrapper>>;

  void rowBegins() noexcept override;
  void keeps(std::size_t bytes) noexcept override { kept_ += bytes; }
  bool put(std::uint32_t table, const vtu::SampleTable& source, std::uint64_t first, std::uint64_t at,
           std::uint64_t count) noexcept override;
  std::uint64_t stepBack(std::uint32_t table, std::optional<std::uint64_t> rows, const Left& left) noexcept override;
  void goesBack(const Left& left) noexcept override;
  [[nodiscard]] StraySink* strays() noexcept override { return isLaidOut_ ? &strays_ : nullptr; }
  [[nodiscard]] bool isStopped() const noexcept override { return isStopped_; }
  void lost(const std::exception& cause) noexcept override { tell(cause.what()); }

  template <typename Work>
  void working(Work&& work) noexcept;
  void tell(const char* cause) noexcept;
  void stop(const char* cause) noexcept;
  void closeStopped() noexcept;
  void flushRows(bool all) noexcept;
  void layOut();
  [[nodiscard]] Variables variables();
  [[nodiscard]] std::vector<FileTable> findTables();
  [[nodiscard]] std::vector<vtu::StreamTable> describe(std::vector<FileTable> found);
  void regain();
  void regainTable(std::uint32_t number);
  void describeEmpty(std::vector<LeafRun>& leaves, std::vector<vtu::StreamTable>& described);
  void introduce();
  void describeLate(const std::string& variable, const std::string& dataset, core::client::Client& client);
  void takeAll();
  vtu::QatStream& openStream();
  [[nodiscard]] static vtu::StreamLeaf leafOf(std::uint32_t table, std::uint32_t record, const LeafRun& leaf);
  void streamAs(std::uint32_t number, const Ref<Table>& table);
  void setLeafEnds();
  [[nodiscard]] std::uint64_t left(const vtu::StreamLeaf& leaf) const;
  [[nodiscard]] bool mustPutVariables();
  [[nodiscard]] std::size_t numberOfClients();
  void closeFile();
  [[nodiscard]] std::vector<vtu::StreamRing> rings();
  void pushNewest();
  void cutTo(std::uint32_t table, std::uint64_t rows);
  void keepLeafEnds(std::uint32_t table);

  core::client::Catalogue& catalogue_;
  std::shared_ptr<TableBuilder> builder_;  // shared with the recorders, which the catalogue destroys later
  std::optional<vtu::QatStream> stream_;
  std::vector<FileTable> tables_;
  StrayStreamer strays_;
  NewestStreamer newest_;
  std::uint64_t sincePush_ = 0;                         // rows
  bool hidesNewest_ = false;                            // positions went back while the file was closed
  std::size_t clients_ = 0;                             // when the file was laid out
  std::shared_ptr<const BuilderSnapshot> closedState_;  // what the file holds since it was closed; null: it is open
  std::uint32_t begun_ = 0;                             // rows, until the file is laid out
  std::size_t kept_ = 0;                                // bytes of rows in memory
  std::int64_t interval_;                               // between flushes, in ns
  std::int64_t due_ = 0;                                // time of the next flush
  bool isLaidOut_ = false;
  bool isWorking_ = false;
  bool werePut_ = false;  // variables, when the file was closed
  bool syncs_ = false;
  bool isStopped_ = false;
  std::string failure_;
};

}  // namespace vtio::recorders
