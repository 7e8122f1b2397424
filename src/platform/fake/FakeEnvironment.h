#pragma once
// Everything a test needs to run core code: a manual main queue and clock, in-memory settings,
// a notification centre and a fresh temporary data root, installed as the services on
// construction and removed on destruction.

#include "platform/FileLocations.h"
#include "platform/NotificationCenter.h"
#include "platform/Services.h"
#include "platform/fake/FakeAccessibility.h"
#include "platform/fake/FakeAudioSystem.h"
#include "platform/fake/FakeKeySynthesizer.h"
#include "platform/fake/FakeKeyboardLayout.h"
#include "platform/fake/FakeKeyboardTap.h"
#include "platform/fake/FakePasteboard.h"
#include "platform/fake/FakePermissionAccess.h"
#include "platform/fake/FakeSpeechRecognition.h"
#include "platform/fake/FakeSystemInfo.h"
#include "platform/fake/FakeWorkspace.h"
#include "platform/fake/ManualMainQueue.h"
#include "platform/fake/MemorySettingsStore.h"
#include "platform/fake/ReferenceDsp.h"

namespace selvar {

class TempFileLocations : public FileLocations {
public:
  explicit TempFileLocations(std::filesystem::path root) : root_(std::move(root)) {}
  std::filesystem::path dataRoot() const override { return root_ / "data"; }
  std::filesystem::path configDir() const override { return root_ / "config"; }
  std::filesystem::path homeDir() const override { return root_ / "home"; }
  std::filesystem::path tempDir() const override { return root_ / "tmp"; }
  std::optional<std::filesystem::path> resourcesDir() const override { return resources; }
  std::optional<std::filesystem::path> resources;

private:
  std::filesystem::path root_;
};

class FakeEnvironment {
public:
  explicit FakeEnvironment(WallTime wallStart = ManualMainQueue::defaultWallStart());
  ~FakeEnvironment();
  FakeEnvironment(const FakeEnvironment &) = delete;
  FakeEnvironment &operator=(const FakeEnvironment &) = delete;

  const std::filesystem::path &root() const { return root_; }

  ManualMainQueue queue;
  MemorySettingsStore settings;
  NotificationCenter notifications;
  TempFileLocations files;
  FakeWorkspace workspace;
  FakePermissionAccess permissions;
  FakeAudioSystem audio;
  FakeSpeechRecognition speech;
  FakeAccessibility accessibility;
  FakePasteboard pasteboard;
  FakeKeySynthesizer keys;
  FakeKeyboardTap keyboardTap;
  ReferenceDsp dsp; // a direct DFT: exact but slow
  FakeKeyboardLayout keyboardLayout;
  FakeSystemInfo systemInfo;

private:
  static std::filesystem::path makeRoot();
  std::filesystem::path root_;
  Services previous_;
};

} // namespace selvar
