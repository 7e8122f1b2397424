// Drives Selvar's own Wayland adapters on the compositor in WAYLAND_DISPLAY, for the
// end-to-end test:
//   key                 types the paste chord (Ctrl+V) through the virtual keyboard
//   tap CODE [ctrl]     taps the key with that macOS key code (0x6D is F10), with Ctrl held
//                       if asked
//   hold-key CODE       presses that key, prints "down <unix time>", keeps it down until its
//                       standard input ends (or a line arrives), releases it and prints
//                       "up <unix time>" once the compositor has handled the release
//   print               prints the clipboard's text, read through data-control
//   hold TEXT           sets the clipboard and serves it until killed
//   restore-after TEXT  snapshots the clipboard, sets TEXT, restores the snapshot, prints
//                       "restored" and serves it until killed
//   anchor-paste TEXT GO  anchors the focused window as a recording does, prints "anchored",
//                       waits (at most 20 s) for the file GO to exist, then inserts TEXT
//                       through Selvar's inserter (focus restore, Ctrl+V) and serves the
//                       clipboard until killed
//   drag X0 Y0 X1 Y1    moves a virtual pointer to (X0, Y0) on the output, holds the left
//                       button down, moves to (X1, Y1) in a few steps and lets go
// Exit status 2 when the compositor lacks the protocol, 1 on any other failure.

#include "hotkeys/KeyChoices.h"
#include "insertion/TextInserter.h"
#include "platform/Services.h"
#include "platform/linux/GLibMainQueue.h"
#include "platform/linux/JsonFileSettingsStore.h"
#include "platform/linux/LinuxFileLocations.h"
#include "platform/linux/SessionAdapters.h"
#include "platform/linux/WaylandDataControlClipboard.h"
#include "platform/linux/WaylandKeySynthesizer.h"
#include "wlr-virtual-pointer-unstable-v1-client-protocol.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <glib.h>
#include <iostream>
#include <linux/input-event-codes.h>
#include <string>
#include <thread>
#include <wayland-client.h>

namespace {

int fail(const char *why, int status = 1) {
  std::fprintf(stderr, "selvar_wayland_probe: %s\n", why);
  return status;
}

int serveForever() {
  std::fflush(stdout);
  g_main_loop_run(g_main_loop_new(nullptr, FALSE));
  return 0;
}

// Down, a short hold, up: this tool runs no main loop for the synthesizer's own release.
int typeChord(int code, std::uint64_t flags) {
  selvar::WaylandKeySynthesizer keys;
  if (!keys.available()) return fail("no virtual keyboard on this compositor", 2);
  if (!keys.pressKeystroke(code, flags)) return fail("the keystroke was not taken");
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  if (!keys.releaseKeystroke()) return fail("the release was not taken");
  return 0;
}

int key() {
  return typeChord(selvar::VirtualKey::v, selvar::ModifierFlag::command);
}

double unixSeconds() {
  using namespace std::chrono;
  return duration<double>(system_clock::now().time_since_epoch()).count();
}

int keyCode(const std::string &text) {
  return static_cast<int>(std::strtol(text.c_str(), nullptr, 0));
}

int tap(int code, bool control) {
  return typeChord(code, control ? selvar::ModifierFlag::control : 0);
}

int hold(int code) {
  selvar::WaylandKeySynthesizer keys;
  if (!keys.available()) return fail("no virtual keyboard on this compositor", 2);
  if (!keys.pressKeystroke(code, 0)) return fail("the key was not taken");
  std::printf("down %.6f\n", unixSeconds());
  std::fflush(stdout);
  std::string line;
  std::getline(std::cin, line);
  if (!keys.releaseKeystroke()) return fail("the release was not taken");
  std::printf("up %.6f\n", unixSeconds());
  return 0;
}

int clipboard(const std::string &mode, const std::string &text) {
  selvar::WaylandDataControlClipboard clipboard;
  if (!clipboard.available()) return fail("no data-control on this compositor", 2);
  if (mode == "print") {
    auto content = clipboard.string();
    if (!content) return fail("no text on the clipboard");
    std::printf("%s\n", content->c_str());
    return 0;
  }
  if (mode == "hold") {
    clipboard.setString(text);
    return serveForever();
  }
  auto snapshot = clipboard.snapshot();
  if (!snapshot || snapshot->empty()) return fail("nothing to snapshot");
  clipboard.setString(text);
  if (clipboard.string() != text) return fail("the new text did not stick");
  clipboard.restore(*snapshot);
  std::printf("restored\n");
  return serveForever();
}

// The way a recording anchors and a delivery pastes, on the Wayland session's own adapters.
int anchorPaste(selvar::Services services, const std::string &text, const std::string &go) {
  selvar::GLibMainQueue queue;
  selvar::JsonFileSettingsStore settings(services.files->configDir() / "probe-settings.json");
  auto session = selvar::makeWaylandAdapters();
  services.mainQueue = &queue;
  services.clock = &queue;
  services.settings = &settings;
  services.workspace = &session->workspace();
  services.accessibility = &session->accessibility();
  services.pasteboard = &session->pasteboard();
  services.keySynthesizer = &session->keySynthesizer();
  selvar::installServices(services);
  auto anchor = selvar::FocusAnchor::capture(services.workspace->frontmostApplication());
  if (!anchor || !anchor->window) return fail("no window to anchor to");
  std::printf("anchored\n");
  std::fflush(stdout);
  for (int tenths = 0; !std::filesystem::exists(go); ++tenths) {
    if (tenths == 200) return fail("nobody said go");
    g_usleep(100000);
  }
  selvar::TextInserter::insert(text, std::nullopt, anchor, [] { std::printf("copied only\n"); });
  return serveForever();
}

// The output's size in pixels, which absolute pointer motion is measured against.
struct PointerSeat {
  zwlr_virtual_pointer_manager_v1 *manager = nullptr;
  wl_output *output = nullptr;
  int width = 0;
  int height = 0;
};

void outputMode(void *data, wl_output *, uint32_t flags, int32_t width, int32_t height, int32_t) {
  auto *seat = static_cast<PointerSeat *>(data);
  if (!(flags & WL_OUTPUT_MODE_CURRENT)) return;
  seat->width = width;
  seat->height = height;
}

void ignoreGeometry(void *, wl_output *, int32_t, int32_t, int32_t, int32_t, int32_t, const char *,
                    const char *, int32_t) {}
void ignoreDone(void *, wl_output *) {}
void ignoreScale(void *, wl_output *, int32_t) {}
void ignoreText(void *, wl_output *, const char *) {}
const wl_output_listener outputListener{ignoreGeometry, outputMode, ignoreDone,
                                        ignoreScale,    ignoreText, ignoreText};

void global(void *data, wl_registry *registry, uint32_t name, const char *interface, uint32_t) {
  auto *seat = static_cast<PointerSeat *>(data);
  if (std::string(interface) == zwlr_virtual_pointer_manager_v1_interface.name) {
    seat->manager = static_cast<zwlr_virtual_pointer_manager_v1 *>(
        wl_registry_bind(registry, name, &zwlr_virtual_pointer_manager_v1_interface, 1));
  } else if (std::string(interface) == wl_output_interface.name && !seat->output) {
    seat->output =
        static_cast<wl_output *>(wl_registry_bind(registry, name, &wl_output_interface, 1));
    wl_output_add_listener(seat->output, &outputListener, seat);
  }
}
void globalRemove(void *, wl_registry *, uint32_t) {}
const wl_registry_listener registryListener{global, globalRemove};

uint32_t milliseconds() {
  using namespace std::chrono;
  return static_cast<uint32_t>(
      duration_cast<std::chrono::milliseconds>(steady_clock::now().time_since_epoch()).count());
}

// A hand on a mouse: press, a few moves with the button held, release, each event its own
// frame and each handled by the compositor before the next, so the pill sees the motion as it
// would from a real pointer.
int drag(int x0, int y0, int x1, int y1) {
  wl_display *display = wl_display_connect(nullptr);
  if (!display) return fail("no Wayland display", 2);
  PointerSeat seat;
  wl_registry *registry = wl_display_get_registry(display);
  wl_registry_add_listener(registry, &registryListener, &seat);
  wl_display_roundtrip(display);
  wl_display_roundtrip(display);
  if (!seat.manager) return fail("no virtual pointer on this compositor", 2);
  if (seat.width <= 0 || seat.height <= 0) return fail("no output size");
  zwlr_virtual_pointer_v1 *pointer =
      zwlr_virtual_pointer_manager_v1_create_virtual_pointer(seat.manager, nullptr);
  auto settle = [&](int ms) {
    zwlr_virtual_pointer_v1_frame(pointer);
    wl_display_roundtrip(display);
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
  };
  auto moveTo = [&](int x, int y) {
    zwlr_virtual_pointer_v1_motion_absolute(pointer, milliseconds(), x, y, seat.width, seat.height);
    settle(40);
  };
  auto button = [&](wl_pointer_button_state state) {
    zwlr_virtual_pointer_v1_button(pointer, milliseconds(), BTN_LEFT, state);
    settle(60);
  };
  moveTo(x0, y0);
  button(WL_POINTER_BUTTON_STATE_PRESSED);
  constexpr int kSteps = 6;
  for (int step = 1; step <= kSteps; ++step)
    moveTo(x0 + (x1 - x0) * step / kSteps, y0 + (y1 - y0) * step / kSteps);
  button(WL_POINTER_BUTTON_STATE_RELEASED);
  zwlr_virtual_pointer_v1_destroy(pointer);
  wl_display_roundtrip(display);
  wl_display_disconnect(display);
  std::printf("dropped\n");
  return 0;
}

} // namespace

int main(int argc, char **argv) {
  // The adapters log what fails; the lines go to the log under SELVAR_HOME.
  selvar::LinuxFileLocations files;
  selvar::Services services;
  services.files = &files;
  selvar::installServices(services);
  std::string mode = argc > 1 ? argv[1] : "";
  std::string text = argc > 2 ? argv[2] : "";
  if (mode == "key") return key();
  if (mode == "tap" && argc > 2)
    return tap(keyCode(text), argc > 3 && argv[3] == std::string("ctrl"));
  if (mode == "hold-key" && argc > 2) return hold(keyCode(text));
  if (mode == "anchor-paste" && argc > 3) return anchorPaste(services, text, argv[3]);
  if (mode == "drag" && argc > 5)
    return drag(std::atoi(argv[2]), std::atoi(argv[3]), std::atoi(argv[4]), std::atoi(argv[5]));
  if (mode == "print" || ((mode == "hold" || mode == "restore-after") && argc > 2))
    return clipboard(mode, text);
  return fail(
      "usage: selvar_wayland_probe key | tap CODE [ctrl] | hold-key CODE | print | hold TEXT | "
      "restore-after TEXT | anchor-paste TEXT GO | drag X0 Y0 X1 Y1");
}
