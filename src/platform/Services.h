#pragma once
// The platform services the core reaches. The application (or a test fixture) installs them
// once at start; the stateless namespaces (Prefs, Log, History …) read them from here.

namespace selvar {

class MainQueue;
class Clock;
class SettingsStore;
class NotificationCenter;
class FileLocations;
class Workspace;
class PermissionAccess;
class AudioSystem;
class SpeechRecognition;
class Accessibility;
class Pasteboard;
class KeySynthesizer;
class KeyboardTap;
class Dsp;
class KeyboardLayout;
class ProcessRunner;
class AudioConverterFactory;
class SystemInfoSource;

struct Services {
  MainQueue *mainQueue = nullptr;
  Clock *clock = nullptr;
  SettingsStore *settings = nullptr;
  NotificationCenter *notifications = nullptr;
  FileLocations *files = nullptr;
  Workspace *workspace = nullptr;
  PermissionAccess *permissions = nullptr;
  AudioSystem *audio = nullptr;
  SpeechRecognition *speech = nullptr;
  Accessibility *accessibility = nullptr;
  Pasteboard *pasteboard = nullptr;
  KeySynthesizer *keySynthesizer = nullptr;
  KeyboardTap *keyboardTap = nullptr;
  const Dsp *dsp = nullptr;
  // May stay unset (headless tools): key names then fall back to their numbers.
  KeyboardLayout *keyboardLayout = nullptr;
  // Child processes (the local transcription server); absent where nothing may be launched.
  ProcessRunner *processes = nullptr;
  // Converters from captured audio to the 16 kHz mono the servers take.
  AudioConverterFactory *audioConverters = nullptr;
  // What feedback reports say about the machine; without it they carry the app's version only.
  const SystemInfoSource *systemInfo = nullptr;
};

// The installed services. Members not noted as optional are set before any core code runs.
Services &services();
void installServices(const Services &s);

} // namespace selvar
