#include "platform/linux/PortalShortcutsKeyboardTap.h"

#include "platform/linux/PortalShortcutKeys.h"
#include "records/Log.h"

#include <fmt/format.h>

namespace selvar {

namespace {

constexpr const char *kInterface = "org.freedesktop.portal.GlobalShortcuts";

GVariant *shortcutList() {
  GVariantBuilder list;
  g_variant_builder_init(&list, G_VARIANT_TYPE("a(sa{sv})"));
  for (const auto &shortcut : PortalShortcutKeys::shortcuts()) {
    GVariantBuilder info;
    g_variant_builder_init(&info, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&info, "{sv}", "description",
                          g_variant_new_string(shortcut.description.c_str()));
    if (shortcut.preferredTrigger)
      g_variant_builder_add(&info, "{sv}", "preferred_trigger",
                            g_variant_new_string(shortcut.preferredTrigger->c_str()));
    g_variant_builder_add(&list, "(sa{sv})", shortcut.id.c_str(), &info);
  }
  return g_variant_builder_end(&list);
}

} // namespace

PortalShortcutsKeyboardTap::PortalShortcutsKeyboardTap(DesktopPortal &portal,
                                                       std::string fallbackName)
    : portal_(portal), fallbackName_(std::move(fallbackName)) {}

PortalShortcutsKeyboardTap::~PortalShortcutsKeyboardTap() {
  for (unsigned id : subscriptions_)
    portal_.unsubscribe(id);
}

bool PortalShortcutsKeyboardTap::install(Handler handler) {
  handler_ = std::move(handler);
  if (stage_ == Stage::idle) createSession();
  return true;
}

std::string PortalShortcutsKeyboardTap::sourceName() const {
  return stage_ == Stage::failed ? fallbackName_ : "desktop portal shortcuts";
}

void PortalShortcutsKeyboardTap::createSession() {
  stage_ = Stage::creatingSession;
  // Subscribed before the session exists, so no activation can slip past.
  subscriptions_.push_back(portal_.subscribe(
      kInterface, "Activated", [this](GVariant *parameters) { onShortcut(parameters, true); }));
  subscriptions_.push_back(portal_.subscribe(
      kInterface, "Deactivated", [this](GVariant *parameters) { onShortcut(parameters, false); }));
  portal_.createSession(kInterface, kCallSeconds,
                        [this](std::optional<std::string> session, const std::string &why) {
                          if (!session) return fail(why);
                          session_ = *session;
                          listShortcuts();
                        });
}

void PortalShortcutsKeyboardTap::listShortcuts() {
  stage_ = Stage::listing;
  const std::string token = portal_.newToken("list");
  GVariantBuilder options;
  initRequestOptions(options, token);
  portal_.request({kInterface, "ListShortcuts", token,
                   g_variant_new("(oa{sv})", session_.c_str(), &options), kCallSeconds},
                  [this](PortalAnswer answer) {
                    if (answer.outcome == PortalAnswer::Outcome::timedOut)
                      return fail(answer.detail);
                    // Shortcuts the user confirmed in an earlier run are not asked for again.
                    if (answer.outcome == PortalAnswer::Outcome::granted &&
                        takeBound(answer.results.get(), "kept from an earlier run"))
                      return;
                    bindShortcuts();
                  });
}

void PortalShortcutsKeyboardTap::bindShortcuts() {
  stage_ = Stage::binding;
  const std::string token = portal_.newToken("bind");
  GVariantBuilder options;
  initRequestOptions(options, token);
  portal_.request(
      {kInterface, "BindShortcuts", token,
       g_variant_new("(o@a(sa{sv})sa{sv})", session_.c_str(), shortcutList(), "", &options),
       kDialogSeconds},
      [this](PortalAnswer answer) {
        if (answer.outcome != PortalAnswer::Outcome::granted) return fail(answer.detail);
        if (!takeBound(answer.results.get(), "bound"))
          Log::write("portal shortcuts: some shortcuts were left without keys; "
                     "the desktop's shortcut settings can still assign them");
      });
}

bool PortalShortcutsKeyboardTap::takeBound(GVariant *results, const char *how) {
  auto list = adoptVariant(
      results ? g_variant_lookup_value(results, "shortcuts", G_VARIANT_TYPE("a(sa{sv})"))
              : nullptr);
  std::set<std::string> ids;
  std::string described;
  if (list) {
    GVariantIter iter;
    g_variant_iter_init(&iter, list.get());
    const gchar *id = nullptr;
    GVariant *info = nullptr;
    while (g_variant_iter_next(&iter, "(&s@a{sv})", &id, &info)) {
      auto owned = adoptVariant(info);
      ids.insert(id);
      auto keys = vardictString(info, "trigger_description");
      described += fmt::format(" {}={}", id, keys && !keys->empty() ? *keys : "(none)");
    }
  }
  bool all = true;
  for (const auto &shortcut : PortalShortcutKeys::shortcuts())
    all = all && ids.contains(shortcut.id);
  if (all || stage_ == Stage::binding) {
    stage_ = Stage::ready;
    Log::write(fmt::format("portal shortcuts {}:{}", how, described.empty() ? " none" : described));
  }
  return all;
}

void PortalShortcutsKeyboardTap::fail(const std::string &why) {
  stage_ = Stage::failed;
  held_.clear();
  Log::write("portal shortcuts: " + why + "; trigger source now: " + fallbackName_);
}

void PortalShortcutsKeyboardTap::onShortcut(GVariant *parameters, bool activated) {
  if (stage_ == Stage::failed || session_.empty()) return;
  if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(osta{sv})"))) return;
  const gchar *session = nullptr;
  const gchar *id = nullptr;
  g_variant_get(parameters, "(&o&sta{sv})", &session, &id, nullptr, nullptr);
  if (session_ != session) return;
  auto event = PortalShortcutKeys::eventFor(id, activated);
  if (!event) return;
  if (event->type == KeyEvent::Type::flagsChanged) {
    if (activated)
      held_.insert(event->keyCode);
    else
      held_.erase(event->keyCode);
  }
  if (handler_) handler_(*event); // the compositor already kept the key: the answer is moot
}

} // namespace selvar
