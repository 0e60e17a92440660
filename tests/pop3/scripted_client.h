// SPDX-License-Identifier: MIT
#pragma once

// A mail client without a socket: says one command for each receive and writes down what it is sent.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "platform/connection.h"

namespace quillbeaker {

// What a client did and saw.
struct Conversation {
  std::deque<std::string> commands;  // one receive each
  bool closes = false;               // when they are used up; else it stays silent until the wait is over
  std::vector<std::string> sends;
  std::chrono::milliseconds waited{0};  // without a byte
  std::size_t sends_taken = 100;        // later ones time out
};

class ScriptedClient : public Connection {
 public:
  // `gone` says whether the client has closed its connection; null when it never does.
  explicit ScriptedClient(Conversation& conversation, const std::atomic<bool>* gone = nullptr)
      : conversation_(conversation), gone_(gone) {}

  IoResult Receive(char* buffer, std::size_t capacity, std::chrono::milliseconds wait) override {
    if (conversation_.commands.empty()) {
      if (conversation_.closes) return {IoStatus::kClosed, 0};
      conversation_.waited += wait;
      return {IoStatus::kTimedOut, 0};
    }
    const std::string command = conversation_.commands.front();
    conversation_.commands.pop_front();
    const std::size_t count = std::min(command.size(), capacity);
    std::memcpy(buffer, command.data(), count);
    if (count < command.size()) {
      conversation_.commands.push_front(command.substr(count));
    }
    return {IoStatus::kOk, count};
  }
  IoResult Send(std::string_view bytes, std::chrono::milliseconds wait) override {
    if (conversation_.sends.size() >= conversation_.sends_taken) {
      conversation_.waited += wait;
      return {IoStatus::kTimedOut, 0};
    }
    conversation_.sends.emplace_back(bytes);
    return {IoStatus::kOk, bytes.size()};
  }
  void FinishSending() override {}
  bool PeerHasGone() override { return gone_ != nullptr && *gone_; }
  void Abort(std::string_view) override {}

 private:
  Conversation& conversation_;
  const std::atomic<bool>* const gone_;
};

}  // namespace quillbeaker
