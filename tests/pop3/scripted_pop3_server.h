// SPDX-License-Identifier: MIT
#pragma once

// A POP3 server on loopback, on a thread of its own, that keeps a mailbox and does what a test tells it to.

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/connection.h"

namespace quillbeaker {

class ScriptedPop3Server {
 public:
  // Says nothing to a command whose answer is this.
  static constexpr const char* kSilence = "";
  // Closes the connection in place of an answer.
  static constexpr const char* kClose = "close";

  explicit ScriptedPop3Server(std::vector<std::string> messages) : messages_(std::move(messages)) {
    StartNetworking();
    listener_ = ListenOnLoopback(0, 4);
    thread_ = std::thread([this] {
      while (const std::unique_ptr<Connection> client = listener_->Accept()) Serve(*client);
    });
  }
  ~ScriptedPop3Server() {
    ended_ = true;
    listener_->Stop();
    thread_.join();
  }

  int port() const { return listener_->port(); }

  // What is answered to a command that is exactly `line`, until told otherwise.
  void Answer(const std::string& line, const std::string& answer) {
    const std::lock_guard lock(mutex_);
    answers_[line] = answer;
  }
  // Called when such a command has been read, before it is answered.
  void OnCommand(const std::string& line, std::function<void()> action) {
    const std::lock_guard lock(mutex_);
    actions_[line] = std::move(action);
  }
  // The commands of all connections so far.
  std::vector<std::string> commands() {
    const std::lock_guard lock(mutex_);
    return commands_;
  }
  // False when it has not come within ten seconds.
  bool WaitForCommand(const std::string& line) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(10),
                             [&] { return std::ranges::find(commands_, line) != commands_.end(); });
  }

 private:
  void Serve(Connection& client) {
    std::string answer = AnswerTo("GREETING");
    std::string pending;
    bool over = false;
    std::array<char, 4096> buffer;
    while (answer != kClose && !ended_) {
      if (!answer.empty()) client.Send(answer, std::chrono::seconds(10));
      if (over) return;
      answer.clear();
      const std::size_t end = pending.find("\r\n");
      if (end != std::string::npos) {
        const std::string line = pending.substr(0, end);
        pending.erase(0, end + 2);
        answer = AnswerTo(line);
        over = line == "QUIT";
        continue;
      }
      const IoResult got = client.Receive(buffer.data(), buffer.size(), std::chrono::milliseconds(50));
      if (got.status == IoStatus::kOk) {
        pending.append(buffer.data(), got.bytes);
      } else if (got.status != IoStatus::kTimedOut) {
        return;
      }
    }
  }

  std::string AnswerTo(const std::string& line) {
    std::function<void()> action;
    std::string answer;
    {
      const std::lock_guard lock(mutex_);
      if (line != "GREETING") commands_.push_back(line);
      changed_.notify_all();
      if (const auto found = actions_.find(line); found != actions_.end()) action = found->second;
      const auto told = answers_.find(line);
      answer = told != answers_.end() ? told->second : OwnAnswerTo(line);
    }
    if (action) action();
    return answer;
  }

  std::string OwnAnswerTo(const std::string& line) {
    if (line == "LIST" || line == "UIDL") {
      std::string lines = "+OK\r\n";
      for (std::size_t i = 1; i <= messages_.size(); ++i) {
        const std::string number = std::to_string(i);
        lines += number + " " + (line == "LIST" ? std::to_string(messages_[i - 1].size()) : "uid" + number) +
                 "\r\n";
      }
      return lines + ".\r\n";
    }
    if (line.starts_with("RETR ")) {
      const auto number = static_cast<std::size_t>(std::stoi(line.substr(5)));
      return "+OK\r\n" + messages_.at(number - 1) + "\r\n.\r\n";
    }
    return line == "CAPA" ? "-ERR\r\n" : "+OK\r\n";
  }

  const std::vector<std::string> messages_;  // without the CR LF before the closing dot
  std::unique_ptr<Listener> listener_;
  std::atomic<bool> ended_ = false;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<std::string, std::string> answers_;
  std::map<std::string, std::function<void()>> actions_;
  std::vector<std::string> commands_;
  std::thread thread_;
};

}  // namespace quillbeaker
