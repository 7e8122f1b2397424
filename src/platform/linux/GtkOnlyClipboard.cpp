#include "platform/linux/GtkOnlyClipboard.h"

#include <gtk/gtk.h>

namespace selvar {

void GtkOnlyClipboard::setString(const std::string &text) {
  held_ = text;
  GtkClipboard *clipboard = gtk_clipboard_get(GDK_SELECTION_CLIPBOARD);
  gtk_clipboard_set_text(clipboard, text.c_str(), static_cast<gint>(text.size()));
}

} // namespace selvar
