// The optional rewrite stage before insertion: the cleaned text goes to the local language
// model under a time budget; whatever comes first (reply, failure, budget) decides, and the
// cleaned text is inserted whenever the model does not deliver in time.

#include "app/Prefs.h"
#include "dictation/DictationController.h"
#include "insertion/TextInserter.h"
#include "platform/Services.h"
#include "records/Log.h"
#include "support/Unicode.h"

#include <algorithm>

namespace selvar {

namespace {

constexpr double kMinimumBudget = 0.9;
constexpr double kRequestSlack = 2.0;
constexpr double kProbeMaxAge = 30.0;

// Accepts the first of the reply, a failure or the budget timer; the reply and the timer
// race on different threads.
struct RewriteRace {
  std::mutex lock;
  bool done = false;
  bool claim() {
    std::lock_guard guard(lock);
    return !std::exchange(done, true);
  }
};

// The text to insert after the rewrite stage: the model's, or the cleaned text when it did not
// deliver.
const std::string &chooseReply(const std::string &text, const std::optional<ServerReply> &reply) {
  if (!reply) {
    Log::write("rewrite missed its budget; inserting the cleaned text");
    return text;
  }
  if (reply->error) {
    Log::write("rewrite failed: " + reply->error->description);
    return text;
  }
  if (reply->rejected) {
    Log::write("rewrite not used; inserting the cleaned text");
    return text;
  }
  Log::write("rewrite applied " + std::to_string(graphemeCount(reply->text)) + " chars");
  return reply->text;
}

} // namespace

// The probe that decides whether to ask the model at all may wait up to 0.8 s, so it runs off
// the main thread and the stage continues on the main queue with its answer.
void DictationController::insert(const std::string &text, const std::optional<RunningApp> &app,
                                 const std::optional<FocusAnchor> &anchor) {
  auto engineId = Prefs::rewriteEngine();
  auto endpoint = neighbours_.servers->endpoint(engineId);
  if (!endpoint) {
    insertText(text, app, anchor);
    return;
  }
  neighbours_.servers->checkRunning(engineId, kProbeMaxAge,
                                    [this, endpoint = *endpoint, text, app, anchor, q = &queue(),
                                     life = std::weak_ptr<int>(lifetime_)](bool running) {
                                      q->async([this, endpoint, text, app, anchor, life, running] {
                                        if (life.expired()) return;
                                        if (running)
                                          rewriteThenInsert(endpoint, text, app, anchor);
                                        else
                                          insertText(text, app, anchor);
                                      });
                                    });
}

void DictationController::rewriteThenInsert(const ServerEndpoint &endpoint, const std::string &text,
                                            const std::optional<RunningApp> &app,
                                            const std::optional<FocusAnchor> &anchor) {
  double budget = std::max(static_cast<double>(Prefs::rewriteBudgetMS()) / 1000, kMinimumBudget);
  auto race = std::make_shared<RewriteRace>();
  auto finish = [this, race, text, app, anchor, q = &queue(),
                 life = std::weak_ptr<int>(lifetime_)](std::optional<ServerReply> reply) {
    if (!race->claim()) return;
    q->async([this, text, app, anchor, life, reply = std::move(reply)] {
      if (life.expired()) return;
      insertText(chooseReply(text, reply), app, anchor);
    });
  };
  neighbours_.servers->rewrite(text, endpoint, budget + kRequestSlack,
                               [finish](ServerReply reply) { finish(std::move(reply)); });
  queue().asyncAfter(budget, [finish] { finish(std::nullopt); });
}

void DictationController::insertText(const std::string &text, const std::optional<RunningApp> &app,
                                     const std::optional<FocusAnchor> &anchor) {
  TextInserter::insert(text, app, anchor,
                       guarded([this] { flash(TextInserter::kCopiedOnlyMessage); }));
}

} // namespace selvar
