// The server of `qat view`: what it gives to whom, over a socket.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <regex>
#include <string>
#include <thread>

#include "example_file.hpp"
#include "memory_source.hpp"
#include "platform/qat.hpp"
#include "results/file/results_error.hpp"
#include "temporary_folder.hpp"
#include "tools/qat/view_server.hpp"

namespace {

using namespace vtio::results;
using vtio::tools::ViewServer;

std::unique_ptr<ResultsFile> someFile() {
  vtio::tests::ResultsBuilder builder;
  builder.table(0, {0, 1});
  builder.addDoubles(0, "x", {1, 2});
  return std::make_unique<ResultsFile>(builder.build("run.qat"));
}

class ViewServerTest : public testing::Test {
 protected:
  ViewServerTest() : running_([this] { server_.run(stop_); }) {}
  ~ViewServerTest() override {
    stop_ = true;
    running_.join();
  }

  std::string prefix() const { return "/" + token_ + "/"; }
  std::string host() const { return "127.0.0.1:" + port_; }

  /// Sends a request unchanged and returns the answer.
  std::string send(const std::string& request) const {
    const int connection = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(std::stoi(port_)));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return "no connection";
    (void)::send(connection, request.data(), request.size(), MSG_NOSIGNAL);
    std::string answer;
    char part[4096];
    for (ssize_t got = 0; (got = ::recv(connection, part, sizeof part, 0)) > 0;) {
      answer.append(part, static_cast<std::size_t>(got));
    }
    ::close(connection);
    return answer;
  }

  std::string ask(const std::string& method, const std::string& path, const std::string& host) const {
    return send(method + " " + path + " HTTP/1.1\r\nHost: " + host + "\r\nConnection: close\r\n\r\n");
  }

  int status(const std::string& method, const std::string& path, const std::string& host) const {
    const std::string answer = ask(method, path, host);
    return answer.size() < 12 ? 0 : std::stoi(answer.substr(9, 3));
  }

  Viewer viewer_{someFile};
  ViewServer server_{viewer_, "<p>page</p>", 0};
  std::string port_ = std::regex_replace(server_.address(), std::regex(".*:([0-9]+)/.*"), "$1");
  std::string token_ = std::regex_replace(server_.address(), std::regex(".*/([0-9a-f]+)/"), "$1");
  std::atomic<bool> stop_{false};
  std::thread running_;
};

TEST_F(ViewServerTest, hasARandomTokenInItsLoopbackAddress) {
  EXPECT_THAT(server_.address(), testing::MatchesRegex("http://127\\.0\\.0\\.1:[0-9]+/[0-9a-f]+/"));
  EXPECT_EQ(token_.size(), 32U);
  ViewServer other(viewer_, "", 0);
  EXPECT_EQ(other.address().find(token_), std::string::npos);
}

TEST_F(ViewServerTest, givesThePageAndAnswers) {
  EXPECT_THAT(ask("GET", prefix(), host()), testing::HasSubstr("<p>page</p>"));
  EXPECT_EQ(status("GET", prefix(), "localhost:" + port_), 200);
  EXPECT_THAT(ask("GET", prefix() + "state", host()), testing::HasSubstr("\"complete\":true"));
  EXPECT_THAT(ask("GET", prefix() + "values?traces=a.0.0&times=1", host()), testing::HasSubstr("\"text\":\"2\""));
  EXPECT_EQ(status("HEAD", prefix(), host()), 200);
  EXPECT_EQ(status("GET", prefix() + "series?traces=a.9.0&pixels=5", host()), 400);
}

TEST_F(ViewServerTest, protectsThePage) {
  const std::string answer = ask("GET", prefix(), host());
  EXPECT_THAT(answer, testing::HasSubstr("Content-Security-Policy: default-src 'none'"));
  EXPECT_THAT(answer, testing::HasSubstr("Cache-Control: no-store"));
  EXPECT_THAT(answer, testing::HasSubstr("Referrer-Policy: no-referrer"));
  EXPECT_THAT(answer, testing::Not(testing::HasSubstr("Access-Control-Allow")));
}

TEST_F(ViewServerTest, doesNotSpendTimeOnCompression) {
  const std::string accepting =
      " HTTP/1.1\r\nHost: " + host() + "\r\nConnection: close\r\nAccept-Encoding: gzip, deflate, br\r\n\r\n";
  for (const char* question : {"", "files", "state"}) {
    const std::string answer = send("GET " + prefix() + question + accepting);
    EXPECT_THAT(answer, testing::StartsWith("HTTP/1.1 200"));
    EXPECT_THAT(answer, testing::Not(testing::HasSubstr("Content-Encoding"))) << question;
  }
}

TEST_F(ViewServerTest, refusesOtherPaths) {
  const std::string wrong = "/" + std::string(32, '0') + "/";
  for (const std::string& path :
       {std::string("/"), std::string("/state"), wrong, wrong + "state", "/" + token_, "/" + token_.substr(1) + "/",
        prefix() + "../state", prefix() + "nothing", prefix() + "index.html", std::string("/favicon.ico")}) {
    const std::string answer = ask("GET", path, host());
    EXPECT_THAT(answer, testing::StartsWith("HTTP/1.1 404")) << path;
    EXPECT_THAT(answer, testing::Not(testing::HasSubstr("page</p>"))) << path;
  }
}

TEST_F(ViewServerTest, refusesOtherHosts) {
  for (const std::string& host : {std::string("example.org"), "example.org:" + port_, std::string("127.0.0.1"),
                                  std::string("127.0.0.1:1"), "127.0.0.1.example.org:" + port_, std::string()}) {
    EXPECT_EQ(status("GET", prefix(), host), 403) << host;
    EXPECT_EQ(status("GET", prefix() + "files", host), 403) << host;
  }
  EXPECT_THAT(send("GET " + prefix() + " HTTP/1.1\r\nConnection: close\r\n\r\n"), testing::StartsWith("HTTP/1.1 403"));
}

TEST_F(ViewServerTest, refusesOtherMethods) {
  for (const char* method : {"POST", "PUT", "DELETE", "PATCH", "OPTIONS"}) {
    EXPECT_EQ(status(method, prefix(), host()), 405) << method;
    EXPECT_EQ(status(method, prefix() + "files", host()), 405) << method;
    EXPECT_EQ(status(method, "/", host()), 404) << method;
  }
}

TEST_F(ViewServerTest, refusesAPortThatIsTaken) {
  EXPECT_THROW(ViewServer(viewer_, "", std::stoi(port_)), ResultsError);
}

TEST(ViewServerFile, mayBeWrittenWhileNothingIsAsked) {
  const vtio::tests::TemporaryFolder folder;
  const std::string path = folder.path("run.qat");
  vtio::tests::writeExampleFile(path);
  Viewer viewer(ViewedFile::opener(path));
  ViewServer server(viewer, "", 0);
  std::atomic<bool> stop{false};
  std::thread running([&] { server.run(stop); });
  vtu::QatFileWrapper file;
  for (int i = 0; i < 400 && !file; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(25));
    file = vtu::QatFileWrapper(path, "w");
  }
  EXPECT_TRUE(file);
  stop = true;
  running.join();
}

TEST(ViewServerStop, endsBeforeAnyoneAsked) {
  Viewer viewer(someFile);
  ViewServer server(viewer, "", 0);
  const std::atomic<bool> stop{true};
  server.run(stop);
}

}  // namespace
