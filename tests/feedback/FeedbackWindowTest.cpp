#include "feedback/FeedbackSubmitter.h"
#include "feedback/FeedbackWindowController.h"
#include "platform/fake/FakeEnvironment.h"
#include "servers/TestServers.h"
#include "support/LogLines.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace selvar {
namespace {

struct RecordingPresenter : FeedbackWindowPresenter {
  std::vector<std::shared_ptr<FeedbackWindowModel>> shown;
  std::function<void()> onClose;
  void present(std::shared_ptr<FeedbackWindowModel> model, std::function<void()> close) override {
    shown.push_back(std::move(model));
    onClose = std::move(close);
  }
  void close() override {}
};

class FeedbackWindowTest : public ::testing::Test {
protected:
  void SetUp() override { FeedbackWindowController::installPresenter(&presenter); }
  void TearDown() override { FeedbackWindowController::installPresenter(nullptr); }
  // Points the report at the test server and sends it; true once the status arrived.
  bool sendTo(FeedbackWindowModel &model, int status) {
    server.reply("/v1/feedback", status, "{}");
    int port = server.start();
    env.settings.setValue("feedbackEndpoint",
                          "http://127.0.0.1:" + std::to_string(port) + "/v1/feedback");
    bool changed = false;
    model.send([&] { changed = true; });
    EXPECT_TRUE(model.sending);
    EXPECT_FALSE(model.canSend()) << "no second send while one is out";
    return testing::pumpUntil(env.queue, [&] { return changed; });
  }

  FakeEnvironment env;
  RecordingPresenter presenter;
  testing::TestHttpServer server;
};

TEST_F(FeedbackWindowTest, OpeningByDictationPrefillsAndSaysSo) {
  FeedbackWindowController::show();
  FeedbackWindowController::show("the pill covers my cursor");
  ASSERT_EQ(presenter.shown.size(), 2u);
  EXPECT_EQ(presenter.shown[1]->draft.message, "the pill covers my cursor");
  EXPECT_NE(presenter.shown[0]->stagedID, presenter.shown[1]->stagedID) << "a new report each time";
  EXPECT_EQ(
      shelltest::logMessages(),
      (std::vector<std::string>{"feedback window opened", "feedback window opened (dictated)"}));
  presenter.onClose();
  EXPECT_FALSE(FeedbackWindowController::current());
}

TEST_F(FeedbackWindowTest, OnlyAMessageWithTextCanBeSent) {
  FeedbackWindowModel model;
  for (const char *text : {"", "   ", "\n\t "}) {
    model.draft.message = text;
    EXPECT_FALSE(model.canSend()) << "'" << text << "'";
  }
  model.draft.message = " ok ";
  EXPECT_TRUE(model.canSend());
  EXPECT_EQ(model.logsToggleLabel(), "Attach the last 64 KB of diagnostics");
}

TEST_F(FeedbackWindowTest, ThePreviewIsExactlyWhatReachesTheServer) {
  FeedbackWindowModel model("the menu shows old text");
  model.draft.includeLogs = false;
  std::string preview = model.previewText();
  ASSERT_TRUE(sendTo(model, 201));
  ASSERT_EQ(server.count(), 1u);
  EXPECT_EQ(server.requests()[0].body, preview);
  EXPECT_EQ(nlohmann::json::parse(preview)["id"], model.stagedID);
  EXPECT_EQ(model.status, "Thanks — sent.");
  EXPECT_FALSE(model.canSend()) << "a delivered report is not sent twice";
  EXPECT_TRUE(shelltest::logHas("feedback submitted kind=bug logs=false transcript=false"));
}

TEST_F(FeedbackWindowTest, AFailedSendSaysSoAndKeepsTheReport) {
  FeedbackWindowModel model("crashes on wake");
  ASSERT_TRUE(sendTo(model, 500));
  EXPECT_FALSE(model.sending);
  EXPECT_EQ(model.status,
            "The server refused the report (HTTP 500). Saved locally and it will retry.");
  EXPECT_TRUE(std::filesystem::exists(FeedbackSubmitter::outboxFile(model.stagedID)));
  EXPECT_TRUE(model.canSend()) << "the user may try again";
}

} // namespace
} // namespace selvar
