// SPDX-License-Identifier: MIT
#pragma once

// Who a mail says it is from: name and address split from its From field.

#include <optional>
#include <string>
#include <string_view>

#include "message/mail_message.h"

namespace quillbeaker {

inline constexpr std::size_t kMaxSenderName = 254;     // bytes
inline constexpr std::size_t kMaxSenderAddress = 260;  // bytes

struct MailSender {
  std::string name;     // encoded words decoded, blanks and double quotes stripped at both ends
  std::string address;  // stripped likewise; the last one wins when the field holds several
};

// Nothing when the mail has no From field. A From field that is there but empty gives an empty address.
std::optional<MailSender> SenderOf(const MailMessage& message);
MailSender SplitSender(std::string_view from_value);

}  // namespace quillbeaker
