// The local server of `qat view`: the page and the answers to its questions, for programs that have the address.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "results/viewer/viewer.hpp"

namespace vtio::tools {

/// Serves on the loopback interface only, below a path that is a random token. Refuses every other path (404), every
/// host name but that of the address (403) and every method but GET and HEAD (405). It writes nothing.
class ViewServer final {
 public:
  /// Takes a port and begins to listen; requests are answered during run().
  /// @param viewer Must outlive this object; it is used by one request at a time.
  /// @param page The HTML page; it must outlive this object.
  /// @param port 0 takes a free one.
  /// @throws ResultsError if the port cannot be had.
  ViewServer(results::Viewer& viewer, std::string_view page, int port);
  ~ViewServer();

  /// `http://127.0.0.1:PORT/TOKEN/`
  [[nodiscard]] std::string address() const;

  /// Answers requests until `stop` is set.
  void run(const std::atomic<bool>& stop);

 private:
  class Inside;

  std::unique_ptr<Inside> inside_;
};

}  // namespace vtio::tools
