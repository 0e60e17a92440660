// SPDX-License-Identifier: MIT
#include "extras/mail_trouble.h"

#include <gtest/gtest.h>

#include <string>

#include "config/texts.h"
#include "extras/language_file.h"
#include "platform/files.h"

namespace quillbeaker {
namespace {

TEST(MailTrouble, EveryLanguageSaysWhoseAndHowMany) {
  const std::string directory = QUILLBEAKER_LANGUAGE_DIRECTORY;
  for (const std::string& name : ListFiles(directory, ".Quillbeaker.language")) {
    const auto language = LoadLanguage(directory, name);
    ASSERT_TRUE(language.has_value()) << name;
    for (const Trouble trouble :
         {Trouble::kMessageRefused, Trouble::kServerGone, Trouble::kDeletionsUnconfirmed,
          Trouble::kMailNotKept, Trouble::kRestoredMailStays, Trouble::kClientGaveUp}) {
      const MailTrouble one{
          .trouble = trouble, .account = "ann @ pop", .number = 310, .total = 1000, .words = "the words"};
      SetTranslatedTexts({});
      const std::string english = DescribeTrouble(one);
      SetTranslatedTexts(language->texts);
      const std::string told = DescribeTrouble(one);
      EXPECT_NE(told, english) << name;
      EXPECT_TRUE(told.starts_with("ann @ pop")) << told;
      EXPECT_TRUE(told.ends_with(" (the words)")) << told;
      EXPECT_EQ(told.find("310") != told.npos, english.find("310") != english.npos) << told;
      EXPECT_EQ(told.find("1000") != told.npos, english.find("1000") != english.npos) << told;
      EXPECT_EQ(told.find('%'), told.npos) << told;
    }
    SetTranslatedTexts({});
  }
}

TEST(MailTrouble, WithoutWordsThereAreNoParentheses) {
  EXPECT_EQ(DescribeTrouble({.trouble = Trouble::kMessageRefused, .account = "a", .number = 7}),
            "a: message 7 could not be received");
}

}  // namespace
}  // namespace quillbeaker
