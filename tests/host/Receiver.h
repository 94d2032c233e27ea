// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

// A receiver of webhooks on a port of this machine, as good or bad as a test wants it.
namespace orvspc::host {

struct Posted {
  std::map<std::string, std::string> headers;  // names in small letters
  std::string line, body;
};

class Receiver {
 public:
  enum class Way { Take, Drop, TakeAndDrop };  // Drop: the connection ends without an answer
  struct Reply {
    Way way = Way::Take;
    int status = 200;
    std::chrono::milliseconds delay{0};
    std::string header = {};  // one more, with its end
  };
  // Called with each request and how many came before it.
  using Behaviour = std::function<Reply(int, const Posted&)>;

  // Nobody listens on its port yet.
  Receiver() {
    socket_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(socket_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
      throw std::runtime_error("no port");
    }
    port_ = ntohs(address.sin_port);
  }
  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;
  ~Receiver() {
    is_over_ = true;
    if (thread_.joinable()) thread_.join();
    close(socket_);
  }

  void Start(Behaviour behaviour = {}) {
    behaviour_ = std::move(behaviour);
    listen(socket_, 64);
    thread_ = std::thread([this] { Serve(); });
  }

  std::string Url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/hook"; }
  // What was taken.
  std::vector<Posted> Taken() const {
    const std::lock_guard lock(mutex_);
    return taken_;
  }
  std::set<std::string> Ids() const {
    std::set<std::string> ids;
    for (auto& each : Taken()) ids.insert(each.headers.at("orvspc-id"));
    return ids;
  }

 private:
  void Serve() {
    while (!is_over_) {
      pollfd waiting{socket_, POLLIN, 0};
      if (poll(&waiting, 1, 20) <= 0) continue;
      const int connection = accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
      if (connection < 0) continue;
      Answer(connection);
      close(connection);
    }
  }

  void Answer(int connection) {
    Posted posted;
    if (!Read(connection, posted)) return;
    const auto reply = behaviour_ ? behaviour_(count_, posted) : Reply{};
    ++count_;
    for (auto left = reply.delay; left.count() > 0 && !is_over_;
         left -= std::chrono::milliseconds(20)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (reply.way == Way::Drop) return;
    {
      const std::lock_guard lock(mutex_);
      taken_.push_back(posted);
    }
    if (reply.way == Way::TakeAndDrop) return;
    const auto text = "HTTP/1.1 " + std::to_string(reply.status) + " X\r\n" + reply.header +
                      "Content-Length: 2\r\nConnection: close\r\n\r\nok";
    send(connection, text.data(), text.size(), MSG_NOSIGNAL);
  }

  static bool Read(int connection, Posted& posted) {
    std::string text;
    char room[4096];
    const auto more = [&] {
      const auto got = recv(connection, room, sizeof room, 0);
      if (got <= 0) return false;
      text.append(room, static_cast<std::size_t>(got));
      return true;
    };
    std::size_t end = 0;
    while ((end = text.find("\r\n\r\n")) == text.npos) {
      if (!more()) return false;
    }
    auto at = text.find("\r\n");
    posted.line = text.substr(0, at);
    for (at += 2; at < end + 2;) {
      const auto stop = text.find("\r\n", at);
      const auto colon = text.find(':', at);
      auto name = text.substr(at, colon - at);
      std::ranges::transform(name, name.begin(),
                             [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
      posted.headers[name] = text.substr(colon + 2, stop - colon - 2);
      at = stop + 2;
    }
    const auto size = std::stoul(posted.headers["content-length"]);
    while (text.size() < end + 4 + size) {
      if (!more()) return false;
    }
    posted.body = text.substr(end + 4, size);
    return true;
  }

  int socket_ = -1;
  int port_ = 0;
  Behaviour behaviour_;
  int count_ = 0;
  mutable std::mutex mutex_;
  std::vector<Posted> taken_;
  std::atomic<bool> is_over_ = false;
  std::thread thread_;
};

}  // namespace orvspc::host
