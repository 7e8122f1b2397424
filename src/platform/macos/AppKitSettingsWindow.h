#pragma once
// The settings window in AppKit, drawn from the core's settings model: the preference sections
// (the extra ones on request), the engine tables with model installs, the privacy grants and
// the files. Every edit goes through the model and the window is drawn again from it.

@class SLVSettingsWindow;

namespace selvar {

class AppKitSettingsWindow {
public:
  // Shows the window (or brings it forward), with the extra sections when asked.
  void open(bool expanded);

private:
  SLVSettingsWindow *window_ = nil;
};

} // namespace selvar
