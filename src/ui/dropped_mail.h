// SPDX-License-Identifier: MIT
#pragma once

// The mails in the data of a drag: asked of another process, which may answer what it likes.

#include <windows.h>

#include <ole2.h>

#include <string>
#include <vector>

namespace quillbeaker {

// Whether there are mails in it, by its formats, and of files by their names.
bool OffersMail(IDataObject& data);

// The beginning of each (kMostDroppedBytes); what cannot be read is left out.
std::vector<std::string> MailsOf(IDataObject& data);

}  // namespace quillbeaker
