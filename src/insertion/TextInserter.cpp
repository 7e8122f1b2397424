#include "insertion/TextInserter.h"

#include "app/Prefs.h"
#include "insertion/PreviousApplication.h"
#include "platform/KeySynthesizer.h"
#include "platform/MainQueue.h"
#include "platform/Pasteboard.h"
#include "platform/Services.h"
#include "records/Log.h"

namespace selvar::TextInserter {

namespace {

constexpr std::uint64_t kCommandFlag = 0x100000;

struct PasteJob {
  std::string text;
  std::optional<RunningApp> target;
  std::optional<FocusAnchor> anchor;
  std::optional<PasteboardSnapshot> snapshot;
  bool restoreClipboard = false;
  CopiedOnly copiedOnly;
};

void deliver(const PasteJob &job, int attempt);

const char *yesNo(bool value) {
  return value ? "true" : "false";
}

// Selvar itself is in front with nothing of its own to paste into (the pill or a closing
// window took the focus): give the focus back to where the user was.
bool handBack(const PasteJob &job, int attempt, const std::optional<std::string> &frontID) {
  auto &workspace = *services().workspace;
  if (attempt >= kMaxHandBacks || frontID != workspace.ownBundleIdentifier()) return false;
  if (workspace.ownsKeyWindow()) return false;
  auto previous = PreviousApplication::current();
  if (!previous || workspace.isTerminated(previous->pid)) return false;
  Log::write("insert: selvar frontmost with no key window; handing focus back to " +
             previous->name);
  workspace.activate(previous->pid);
  services().mainQueue->asyncAfter(kHandBackDelay, [job, attempt] { deliver(job, attempt + 1); });
  return true;
}

// Reached once per job: hand-backs return before it.
bool restoreFocus(const PasteJob &job) {
  if (!job.anchor) return false;
  auto &workspace = *services().workspace;
  if (job.anchor->cannotRestore) {
    Log::write("insert: focus cannot be restored here: " + *job.anchor->cannotRestore);
    return false;
  }
  if (job.anchor->window) return workspace.activateWindow(job.anchor->window);
  if (!job.target || job.target->pid != job.anchor->pid) return false;
  int pid = job.anchor->pid;
  if (workspace.isTerminated(pid)) return false;
  auto &ax = *services().accessibility;
  auto window = ax.window(job.anchor->element);
  if (window) ax.raise(window);
  bool restored = ax.setFocusedElement(pid, job.anchor->element);
  // Activating the process alone would let the window system choose among its windows, and
  // its choice overrides the focus just put back.
  workspace.activateIgnoringOtherApps(pid, window);
  return restored;
}

bool postPaste() {
  auto &keys = *services().keySynthesizer;
  if (!keys.canPostKeystrokes()) {
    Log::write("insert: no keystroke can reach other applications here; the text stays on the "
               "clipboard");
    return false;
  }
  if (keys.postKeystroke(kVKeyCode, kCommandFlag, kKeyHoldSeconds)) return true;
  Log::write("insert: could not create the paste keystroke; the text stays on the clipboard");
  return false;
}

void restoreClipboard(const PasteJob &job) {
  if (!job.restoreClipboard || !job.snapshot || job.snapshot->empty()) return;
  services().pasteboard->restore(*job.snapshot);
}

void deliver(const PasteJob &job, int attempt) {
  auto &workspace = *services().workspace;
  auto front = workspace.frontmostApplication();
  std::optional<std::string> frontID;
  if (front) frontID = front->bundleId;
  if (handBack(job, attempt, frontID)) return;
  bool focusRestored = restoreFocus(job);
  Log::write("insert: front=" + frontID.value_or("none") +
             " selvarActive=" + yesNo(workspace.isOwnApplicationActive()) +
             " focusRestored=" + yesNo(focusRestored) + " attempt=" + std::to_string(attempt));
  if (!postPaste()) {
    // The text on the clipboard is all the user has now: putting the old clipboard back
    // would take it away before they can paste it themselves.
    if (job.copiedOnly) job.copiedOnly();
    return;
  }
  // Deliberately blind to anything copied in the meantime: the user's clipboard comes back.
  services().mainQueue->asyncAfter(kRestoreDelay, [job] { restoreClipboard(job); });
}

} // namespace

void insert(const std::string &text, const std::optional<RunningApp> &target,
            const std::optional<FocusAnchor> &anchor, CopiedOnly copiedOnly) {
  auto &pasteboard = *services().pasteboard;
  PasteJob job{text,
               target,
               anchor,
               pasteboard.snapshot(),
               Prefs::restoreClipboard(),
               std::move(copiedOnly)};
  pasteboard.setString(text);
  if (Prefs::insertMode() == InsertMode::copyOnly) return;
  services().mainQueue->asyncAfter(kFirstDeliveryDelay,
                                   [job = std::move(job)] { deliver(job, 0); });
}

} // namespace selvar::TextInserter
