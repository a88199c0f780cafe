#include "view_server.hpp"

#include <httplib.h>
#include <sys/random.h>

#include <chrono>
#include <mutex>
#include <thread>

#include "results/file/results_error.hpp"
#include "results/viewer/answers.hpp"

namespace vtio::tools {
namespace {

constexpr const char* kLoopback = "127.0.0.1";

// 128 random bits as text.
std::string makeToken() {
  unsigned char bytes[16];
  if (getrandom(bytes, sizeof bytes, 0) != sizeof bytes) throw results::ResultsError("no random numbers to be had");
  constexpr const char* kDigits = "0123456789abcdef";
  std::string token;
  for (const unsigned char byte : bytes) {
    token += kDigits[byte >> 4U];
    token += kDigits[byte & 15U];
  }
  return token;
}

// Takes as long whatever the texts are.
bool isSame(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  unsigned difference = 0;
  for (std::size_t i = 0; i < a.size(); ++i) difference |= static_cast<unsigned>(a[i] ^ b[i]);
  return difference == 0;
}

results::Query queryOf(const httplib::Request& request) {
  results::Query query;
  for (const auto& [name, value] : request.params) query.emplace(name, value);
  return query;
}

void protect(httplib::Response& response) {
  response.set_header("Cache-Control", "no-store");
  response.set_header("X-Content-Type-Options", "nosniff");
  response.set_header("X-Frame-Options", "DENY");
  response.set_header("Referrer-Policy", "no-referrer");
  response.set_header("Cross-Origin-Resource-Policy", "same-origin");
  response.set_header("Content-Security-Policy",
                      "default-src 'none'; script-src 'unsafe-inline'; style-src 'unsafe-inline'; connect-src 'self'; "
                      "img-src data: blob:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
}

// Hands over a text as it is. Set as the content it would be compressed, which takes seconds for a long list of
// signals.
void give(httplib::Response& response, std::string body, const std::string& type) {
  if (body.empty()) return response.set_content(std::string(), type);
  const std::size_t size = body.size();
  response.set_content_provider(size, type,
                                [body = std::move(body)](std::size_t from, std::size_t count, httplib::DataSink& sink) {
                                  return sink.write(body.data() + from, count);
                                });
}

}  // namespace

class ViewServer::Inside {
 public:
  Inside(results::Viewer& viewer, std::string_view page, int port) : viewer_(viewer), page_(page), token_(makeToken()) {
    server_.set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
      handle(request, response);
      return httplib::Server::HandlerResponse::Handled;
    });
    server_.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    server_.set_keep_alive_max_count(kManyRequests);
    server_.set_keep_alive_timeout(kIdleSeconds);
    server_.set_payload_max_length(0);
    // Another server must not be able to share the port.
    server_.set_socket_options([](socket_t) {});
    port_ = port;
    if (port == 0) {
      port_ = server_.bind_to_any_port(kLoopback);
    } else if (!server_.bind_to_port(kLoopback, port)) {
      port_ = -1;
    }
    if (port_ <= 0) throw results::ResultsError("--port: port " + std::to_string(port) + " is in use or not allowed");
  }

  std::string address() const {
    return "http://" + std::string(kLoopback) + ":" + std::to_string(port_) + "/" + token_ + "/";
  }

  void run(const std::atomic<bool>& stop) {
    std::thread listening([this] { server_.listen_after_bind(); });
    while (!stop.load(std::memory_order_relaxed)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      releaseIfIdle();
    }
    // Stopping before it has begun would have no effect.
    while (!server_.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    server_.stop();
    listening.join();
  }

 private:
  // An idle connection takes a thread until it times out, and a browser opens six for a page.
  static constexpr std::size_t kThreads = 32;
  static constexpr int kIdleSeconds = 1;
  static constexpr std::size_t kManyRequests = 100'000;
  static constexpr std::chrono::milliseconds kIdleUntilReleased{300};

  static void refuse(httplib::Response& response, int status, const char* what) {
    response.status = status;
    response.set_content(std::string(what) + "\n", "text/plain");
  }

  void handle(const httplib::Request& request, httplib::Response& response) {
    protect(response);
    const std::string host = request.get_header_value("Host");
    const std::string port = ":" + std::to_string(port_);
    if (host != kLoopback + port && host != "localhost" + port) return refuse(response, 403, "wrong host");
    const std::string path = request.path;
    const std::string prefix = "/" + token_ + "/";
    if (!isSame(path.substr(0, prefix.size()), prefix)) return refuse(response, 404, "nothing here");
    if (request.method != "GET" && request.method != "HEAD") {
      response.set_header("Allow", "GET, HEAD");
      return refuse(response, 405, "read only");
    }
    if (path == prefix) return give(response, std::string(page_), "text/html; charset=utf-8");
    reply(path.substr(prefix.size()), request, response);
  }

  // Who has the page open does not keep other programs from writing the file.
  void releaseIfIdle() {
    const std::unique_lock lock(mutex_, std::try_to_lock);
    if (lock && !isReleased_ && std::chrono::steady_clock::now() - answered_ > kIdleUntilReleased) {
      viewer_.release();
      isReleased_ = true;
    }
  }

  void reply(const std::string& question, const httplib::Request& request, httplib::Response& response) {
    try {
      const std::scoped_lock lock(mutex_);
      results::Answer answer = results::answer(viewer_, question, queryOf(request));
      answered_ = std::chrono::steady_clock::now();
      isReleased_ = false;
      response.status = answer.status;
      give(response, std::move(answer.body), answer.type);
    } catch (const std::exception& error) {
      refuse(response, 500, error.what());
    }
  }

  results::Viewer& viewer_;
  std::string_view page_;
  std::string token_;
  int port_ = -1;
  std::mutex mutex_;  // of the viewer and of what follows
  std::chrono::steady_clock::time_point answered_;
  bool isReleased_ = false;
  httplib::Server server_;
};

ViewServer::ViewServer(results::Viewer& viewer, std::string_view page, int port)
    : inside_(std::make_unique<Inside>(viewer, page, port)) {}

ViewServer::~ViewServer() = default;

std::string ViewServer::address() const { return inside_->address(); }

void ViewServer::run(const std::atomic<bool>& stop) { inside_->run(stop); }

}  // namespace vtio::tools
