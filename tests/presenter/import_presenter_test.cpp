// SPDX-License-Identifier: MIT
#include "ui/presenter/import_presenter.h"

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "presenter/recording_page_view.h"
#include "support/test_program.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

using Told = std::vector<std::string>;

// Windows without a screen: writes down what was opened; `person` answers the dialogs.
class RecordingWindows : public ImportWindows {
 public:
  bool Run(int template_id, SmallDialog& dialog) override {
    told.push_back("dialog " + std::to_string(template_id));
    test::RecordingPageView view;
    view.texts[OFFER_TEXT] = "%s (%s)";
    dialog.Load(view);
    if (template_id == DIALOG_OFFER_SENDER) told.back() += " " + view.TextIn(OFFER_TEXT);
    return person && person(template_id, dialog, view);
  }
  std::optional<std::string> ChooseFile(const std::vector<FileFilter>& filters,
                                        std::string_view extension) override {
    for (const FileFilter& filter : filters) told.push_back(filter.text + " = " + filter.patterns);
    told.push_back("file ." + std::string(extension));
    return file;
  }
  bool ShowProgress(std::string_view text) override {
    told.push_back("progress " + std::string(text));
    return go_on;
  }
  void EndProgress() override { told.push_back("end of progress"); }
  void Inform(std::string_view text, bool trouble) override {
    told.push_back((trouble ? "warning " : "box ") + std::string(text));
  }

  std::function<bool(int, SmallDialog&, test::RecordingPageView&)> person;
  std::optional<std::string> file;
  bool go_on = true;
  Told told;
};

class ImportPresenterTest : public testing::Test {
 protected:
  // Chooses a text file with that content, takes the columns as they are proposed, and presses these buttons
  // of the offers; 0 is Cancel.
  void Answer(std::string_view content, std::deque<int> buttons) {
    ASSERT_TRUE(program.directory.Put("list.csv", content));
    windows.file = program.directory.PathOf("list.csv");
    windows.person = [this, buttons = std::move(buttons)](int id, SmallDialog& dialog,
                                                          test::RecordingPageView& view) mutable {
      if (id == DIALOG_IMPORT_SOURCE) view.checked = {{SOURCE_TEXT_FILE, true}};
      if (id != DIALOG_OFFER_SENDER) return cancelled_dialog != id && dialog.Ok(view);
      if (buttons.empty() || buttons.front() == 0) return false;
      dialog.Pressed(view, buttons.front());
      buttons.pop_front();
      return dialog.IsAnswered();
    };
  }
  Told Run(std::int32_t kind = kSenderFriend) {
    ImportPresenter presenter(windows);
    SenderImport(program.program(), presenter, kind).Run([](std::int32_t, const SenderImport::KeepWaiting&) {
      return nullptr;
    });
    return windows.told;
  }
  std::string File() { return program.directory.Get("Quillbeaker.ini").value_or("(no file)"); }

  static inline const Told kFile{"dialog 142", "Comma separated text file (*.csv; *.txt) = *.csv;*.txt",
                                 "All files (*.*) = *.*", "vCard file (*.vcf) = *.vcf", "file .csv"};
  static Told After(Told told, const Told& more) {
    told.insert(told.end(), more.begin(), more.end());
    return told;
  }

  test::TestProgram program;
  RecordingWindows windows;
  int cancelled_dialog = 0;
};

TEST_F(ImportPresenterTest, OffersTheLinesOfAFileOneByOne) {
  Answer("Ann,a@x\nBob;b@x\n", {BUTTON_YES, BUTTON_NO});
  EXPECT_EQ(Run(), After(kFile, {"dialog 141", "dialog 136 Ann (a@x)", "dialog 136 Bob (b@x)",
                                 "box 1 addresses have been imported successfully."}));
  EXPECT_EQ(File(), "[SENDERS]\r\na@x=Ann,2\r\n");
}

TEST_F(ImportPresenterTest, AsksNothingAfterYesToAll) {
  Answer("Ann,a@x\nBob,b@x\nCy,c@x\n", {OFFER_YES_TO_ALL});
  EXPECT_EQ(Run(kSenderBlocked), After(kFile, {"dialog 141", "dialog 136 Ann (a@x)",
                                               "box 3 addresses have been imported successfully."}));
  EXPECT_EQ(File(), "[SENDERS]\r\na@x=Ann,1\r\nb@x=Bob,1\r\nc@x=Cy,1\r\n");
}

TEST_F(ImportPresenterTest, CancelOfAnOfferKeepsAndCountsWhatWasTaken) {
  Answer("Ann,a@x\nBob,b@x\nCy,c@x\n", {BUTTON_YES, 0});
  EXPECT_EQ(Run().back(), "box 1 addresses have been imported successfully.");
  EXPECT_EQ(File(), "[SENDERS]\r\na@x=Ann,2\r\n");
}

TEST_F(ImportPresenterTest, CancelOfTheColumnsIsCounted) {
  Answer("Ann,a@x\n", {});
  cancelled_dialog = DIALOG_IMPORT_COLUMNS;
  EXPECT_EQ(Run(), After(kFile, {"dialog 141", "box 0 addresses have been imported successfully."}));
}

TEST_F(ImportPresenterTest, CancelOfSourceOrFileShowsNoBox) {
  EXPECT_EQ(Run(), Told{"dialog 142"});
  windows.told.clear();
  Answer("Ann,a@x\n", {});
  windows.file.reset();
  EXPECT_EQ(Run(), kFile);
}

TEST_F(ImportPresenterTest, CountsAlsoWithoutAnySource) {
  windows.person = [](int, SmallDialog& dialog, test::RecordingPageView& view) { return dialog.Ok(view); };
  EXPECT_EQ(Run(), (Told{"dialog 142", "box 0 addresses have been imported successfully."}));
}

TEST_F(ImportPresenterTest, CountsAlsoForAFileThatIsNotThere) {
  Answer("", {});
  windows.file = program.directory.PathOf("missing.csv");
  EXPECT_EQ(Run(), After(kFile, {"box 0 addresses have been imported successfully."}));
}

TEST_F(ImportPresenterTest, SaysThatAFileIsNeitherTextNorVCard) {
  Answer(std::string_view("\0\1\2\3\4\5\6\7\0\0\0\0", 12), {});
  const std::string box = Run().back();
  EXPECT_EQ(box.find("warning \""), 0U);
  EXPECT_NE(box.find("is neither a text file nor a vCard file.\n\n0 addresses"), std::string::npos) << box;
}

TEST_F(ImportPresenterTest, ShowsReadAndTakenAsProgress) {
  ImportPresenter presenter(windows);
  EXPECT_TRUE(presenter.ShowProgress(2000, 1000));
  windows.go_on = false;
  EXPECT_FALSE(presenter.ShowProgress(3000, 1500));
  presenter.EndProgress();
  EXPECT_EQ(windows.told, (Told{"progress 2000 addresses read, 1000 imported",
                                "progress 3000 addresses read, 1500 imported", "end of progress"}));
}

}  // namespace
}  // namespace quillbeaker
