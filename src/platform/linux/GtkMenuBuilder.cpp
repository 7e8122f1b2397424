#include "platform/linux/GtkMenuBuilder.h"

#include <memory>

namespace selvar::GtkMenuBuilder {

namespace {

struct Choice {
  MenuItem item;
  std::function<void(const MenuItem &)> chosen;
};

void activated(GtkMenuItem *, gpointer data) {
  const auto *choice = static_cast<const Choice *>(data);
  // The handler may rebuild this very menu; act on a copy after GTK is done with the item.
  auto copy = std::make_shared<Choice>(*choice);
  g_idle_add_full(
      G_PRIORITY_DEFAULT,
      [](gpointer p) -> gboolean {
        auto *c = static_cast<std::shared_ptr<Choice> *>(p);
        (*c)->chosen((*c)->item);
        return G_SOURCE_REMOVE;
      },
      new std::shared_ptr<Choice>(copy),
      [](gpointer p) { delete static_cast<std::shared_ptr<Choice> *>(p); });
}

GtkWidget *makeItem(const MenuItem &item, const std::function<void(const MenuItem &)> &chosen) {
  if (item.kind == MenuItem::Kind::separator) return gtk_separator_menu_item_new();
  GtkWidget *widget = gtk_menu_item_new_with_label(item.title.c_str());
  if (item.kind == MenuItem::Kind::submenu) {
    GtkWidget *submenu = gtk_menu_new();
    fill(GTK_MENU_SHELL(submenu), item.items, chosen);
    gtk_menu_item_set_submenu(GTK_MENU_ITEM(widget), submenu);
    return widget;
  }
  if (item.keyEquivalent) {
    GtkWidget *label = gtk_bin_get_child(GTK_BIN(widget));
    const guint keyval = gdk_keyval_from_name(item.keyEquivalent->key.c_str());
    if (GTK_IS_ACCEL_LABEL(label) && keyval != GDK_KEY_VoidSymbol)
      gtk_accel_label_set_accel(GTK_ACCEL_LABEL(label), keyval, modifiers(*item.keyEquivalent));
  }
  if (item.action == MenuAction::none) {
    gtk_widget_set_sensitive(widget, FALSE);
    return widget;
  }
  g_signal_connect_data(
      widget, "activate", G_CALLBACK(activated), new Choice{item, chosen},
      [](gpointer data, GClosure *) { delete static_cast<Choice *>(data); }, GConnectFlags(0));
  return widget;
}

} // namespace

GdkModifierType modifiers(const KeyEquivalent &key) {
  unsigned mask = 0;
  if (key.modifiers & MenuModifier::command) mask |= GDK_SUPER_MASK;
  if (key.modifiers & MenuModifier::control) mask |= GDK_CONTROL_MASK;
  if (key.modifiers & MenuModifier::option) mask |= GDK_MOD1_MASK;
  if (key.modifiers & MenuModifier::shift) mask |= GDK_SHIFT_MASK;
  return GdkModifierType(mask);
}

void fill(GtkMenuShell *menu, const std::vector<MenuItem> &items,
          std::function<void(const MenuItem &)> chosen) {
  GList *old = gtk_container_get_children(GTK_CONTAINER(menu));
  for (GList *child = old; child; child = child->next)
    gtk_widget_destroy(GTK_WIDGET(child->data));
  g_list_free(old);
  for (const MenuItem &item : items)
    gtk_menu_shell_append(menu, makeItem(item, chosen));
  gtk_widget_show_all(GTK_WIDGET(menu));
}

} // namespace selvar::GtkMenuBuilder
