// The rewrite stage against a real model server: for dictation-like sentences (fillers,
// self-corrections, lists) cleaned by the rules as the app cleans them, the request the
// client sends, its latency against the budget, and what the screen makes of each reply.
//
//   selvar_rewrite_bench [base URL, default http://127.0.0.1:8021] [budget ms, default 900]
//
// Prints one line a sentence and a summary; exits 1 when the server never answered.

#include "platform/fake/FakeEnvironment.h"
#include "servers/HttpClient.h"
#include "servers/RewriteClient.h"
#include "servers/RewriteEndpoint.h"
#include "servers/RewriteScreen.h"
#include "support/JsonWriter.h"
#include "text/TextPipeline.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fmt/format.h>
#include <map>
#include <vector>

namespace selvar {
namespace {

const char *const kSentences[] = {
    "um so I was thinking we could uh meet on Tuesday",
    "send the report to Maria no wait to Marta before Friday",
    "buy milk eggs bread and uh some coffee",
    "the meeting is at three no sorry at four in the big room",
    "can you um remind the team that the deadline moved to next week",
    "first call the bank second pay the rent third email the landlord",
    "I think their going to be late so lets start without them",
    "we need three things a projector a laptop and the clicker",
    "uh the quarterly numbers look good but um marketing is over budget",
    "please book a table for four at seven or actually make it eight",
    "so basically the app crashes when you you know rotate the phone",
    "add tomatoes cucumbers onions and feta to the shopping list",
    "tell John I'll be there at nine I mean ten thirty",
    "the api returns a four oh four when the token is expired",
    "um what time does the train to Basel leave tonight",
    "okay so next steps are testing documentation and the release notes",
    "its important that we uh double check the invoices before sending them",
    "I'd like to order the pasta no the risotto and a glass of water",
    "remind me to water the plants tomorrow morning",
    "sorry I missed your call I was in a meeting all afternoon",
    "the package should arrive on Monday or maybe Tuesday at the latest",
    "here is what we agreed the budget stays the same and we hire one more person",
    "like I said the server needs more memory and uh a faster disk",
    "could you write a short summary of the meeting for the team",
};

struct Outcome {
  double seconds = 0;
  bool answered = false;
  std::string verdict; // "accepted", a rejection, or a failure
};

Outcome rewriteOnce(const LocalServer::Endpoint &endpoint, const std::string &text) {
  HttpRequest request;
  request.method = "POST";
  request.url = *endpoint.url("/v1/chat/completions");
  request.headers = {{"Content-Type", "application/json"}};
  request.body = JsonWriter::compactSorted(RewriteClient::requestObject(text, endpoint, true));
  request.timeoutSeconds = 30;
  auto started = std::chrono::steady_clock::now();
  HttpReply reply = HttpClient::shared().sendAndWait(std::move(request), 31);
  Outcome out;
  out.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  if (!reply.isSuccess()) {
    out.verdict = reply.error ? "failed: " + reply.error->description
                              : fmt::format("failed: status {}", reply.status);
    return out;
  }
  out.answered = true;
  auto content = RewriteClient::replyContent(reply.body);
  if (!content) {
    out.verdict = "failed: no content";
    return out;
  }
  auto verdict = RewriteScreen::screen(*content, text);
  out.verdict = verdict.accepted() ? "accepted" : verdict.rejection;
  // Both measures for every reply, so the overlap threshold can be checked against them.
  std::string cleaned = RewriteScreen::clean(RewriteScreen::stripThinking(*content));
  std::printf("    reply: %s\n    overlap %.2f, ratio %.2f\n", content->c_str(),
              RewriteScreen::wordOverlap(cleaned, text), RewriteScreen::lengthRatio(cleaned, text));
  return out;
}

// "word overlap 0.41 below 0.60" -> "word overlap", so that reasons can be counted.
std::string reasonKind(const std::string &verdict) {
  auto cut = verdict.find_first_of("0123456789\"(");
  std::string kind = verdict.substr(0, cut);
  while (!kind.empty() && kind.back() == ' ')
    kind.pop_back();
  return kind;
}

int run(int argc, char **argv) {
  FakeEnvironment env;
  auto choice = RewriteEndpoint::resolve(argc > 1 ? argv[1] : "", "", false);
  if (!choice.endpoint) {
    std::fprintf(stderr, "%s\n", choice.problem.c_str());
    return 2;
  }
  double budget = (argc > 2 ? std::atof(argv[2]) : 900) / 1000;
  TextPipeline::Options options;
  options.stripFillers = true;
  options.autoCapitalize = true;

  std::vector<double> latencies;
  std::map<std::string, int> verdicts;
  int met = 0;
  for (const char *spoken : kSentences) {
    std::string text = TextPipeline::process(spoken, options);
    std::printf("%s\n", text.c_str());
    Outcome o = rewriteOnce(*choice.endpoint, text);
    std::printf("    %.0f ms, %s\n", o.seconds * 1000, o.verdict.c_str());
    ++verdicts[reasonKind(o.verdict)];
    if (!o.answered) continue;
    latencies.push_back(o.seconds);
    if (o.seconds <= budget) ++met;
  }
  int n = static_cast<int>(std::size(kSentences));
  std::printf("\nsentences: %d, answered: %zu\n", n, latencies.size());
  if (latencies.empty()) return 1;
  std::sort(latencies.begin(), latencies.end());
  auto at = [&](double q) {
    return latencies[std::min(latencies.size() - 1,
                              static_cast<std::size_t>(q * static_cast<double>(latencies.size())))];
  };
  std::printf("latency ms: median %.0f, p90 %.0f, max %.0f\n", at(0.5) * 1000, at(0.9) * 1000,
              latencies.back() * 1000);
  std::printf("budget %.0f ms met: %d of %d (%.0f%%)\n", budget * 1000, met, n, 100.0 * met / n);
  for (const auto &[kind, count] : verdicts)
    std::printf("%-28s %d\n", kind.c_str(), count);
  return 0;
}

} // namespace
} // namespace selvar

int main(int argc, char **argv) {
  return selvar::run(argc, argv);
}
