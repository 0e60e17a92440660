// SPDX-License-Identifier: MIT
// A secured connection on which bytes come but no text.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include "platform/tls.h"
#include "platform/tls_engine.h"

namespace quillbeaker {
namespace {

using std::chrono::milliseconds;

// Has always something to give.
class ChattyConnection : public Connection {
 public:
  IoResult Receive(char* buffer, std::size_t, milliseconds) override {
    *buffer = 'x';
    return {IoStatus::kOk, 1};
  }
  IoResult Send(std::string_view bytes, milliseconds) override { return {IoStatus::kOk, bytes.size()}; }
  void FinishSending() override {}
  bool PeerHasGone() override { return false; }
  void Abort(std::string_view) override {}
};

// Shakes hands at once; then finds no text in whatever comes.
class TextlessEngine : public TlsEngine {
 public:
  TlsStep ShakeHands(TlsWire&) override { return TlsStep::kDone; }
  TlsStep Read(TlsWire& wire, char* buffer, std::size_t capacity, std::size_t&) override {
    while (wire.Receive(buffer, capacity).status == IoStatus::kOk) {
    }
    return TlsStep::kNeedsBytes;
  }
  bool Write(TlsWire&, std::string_view) override { return true; }
  void CloseSending(TlsWire&) override {}
  std::string Failure() override { return {}; }
  TlsVerdict CheckCertificate(milliseconds, const std::function<bool()>&) override {
    return {CertificateInfo{}, {}, false};
  }
  bool IsResumed() const override { return false; }
  std::unique_ptr<TlsSession> TakeSession() override { return nullptr; }
};

TEST(TlsSilenceTest, BytesWithoutTextDoNotOutliveTheWait) {
  const TlsResult secured = SecureWithEngine(
      std::make_shared<ChattyConnection>(), std::make_unique<TextlessEngine>(), {}, milliseconds(100),
      [] { return true; }, [] { return std::chrono::steady_clock::now(); });
  ASSERT_NE(secured.connection, nullptr);
  char buffer[16];
  for (const milliseconds wait : {milliseconds(0), milliseconds(50)}) {
    EXPECT_EQ(secured.connection->Receive(buffer, sizeof buffer, wait).status, IoStatus::kTimedOut);
  }
}

}  // namespace
}  // namespace quillbeaker
