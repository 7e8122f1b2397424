// An adapter whose override no longer matches the core interface.
#include "platform/KeyboardTap.h"

class DriftedTap : public selvar::KeyboardTap {
public:
  bool install(Handler handler) override;
  void remove() override;
  bool isInstalled() const override;
  void reenable() override;
  bool isKeyDown(unsigned keyCode) const override;
};
