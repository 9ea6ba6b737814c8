#include "FlatWindow.h"

#include <gtk/gtk-a11y.h>

namespace {

struct FlatWindow {
  GtkWindow parent;
};
struct FlatWindowClass {
  GtkWindowClass parent_class;
};
struct FlatWindowAccessible {
  GtkWindowAccessible parent;
};
struct FlatWindowAccessibleClass {
  GtkWindowAccessibleClass parent_class;
};

G_DEFINE_TYPE(FlatWindowAccessible, flat_window_accessible, GTK_TYPE_WINDOW_ACCESSIBLE)
G_DEFINE_TYPE(FlatWindow, flat_window, GTK_TYPE_WINDOW)

// The children of the window's content box, or nothing.
GList* contentChildren(AtkObject* accessible) {
  GtkWidget* window = gtk_accessible_get_widget(GTK_ACCESSIBLE(accessible));
  GtkWidget* content = window != nullptr ? gtk_bin_get_child(GTK_BIN(window)) : nullptr;
  return content != nullptr && GTK_IS_CONTAINER(content) ? gtk_container_get_children(GTK_CONTAINER(content)) : nullptr;
}

gint flatNChildren(AtkObject* accessible) {
  GList* children = contentChildren(accessible);
  const gint count = static_cast<gint>(g_list_length(children));
  g_list_free(children);
  return count;
}

AtkObject* flatRefChild(AtkObject* accessible, gint index) {
  GList* children = contentChildren(accessible);
  auto* child = static_cast<GtkWidget*>(g_list_nth_data(children, static_cast<guint>(index)));
  g_list_free(children);
  if (child == nullptr) return nullptr;
  AtkObject* childAccessible = gtk_widget_get_accessible(child);
  // Set once: every change of parent is announced, and the children are listed often.
  if (atk_object_get_parent(childAccessible) != accessible) atk_object_set_parent(childAccessible, accessible);
  return ATK_OBJECT(g_object_ref(childAccessible));
}

void flat_window_accessible_class_init(FlatWindowAccessibleClass* klass) {
  AtkObjectClass* atkClass = ATK_OBJECT_CLASS(klass);
  atkClass->get_n_children = flatNChildren;
  atkClass->ref_child = flatRefChild;
}

void flat_window_accessible_init(FlatWindowAccessible*) {}

void flat_window_class_init(FlatWindowClass* klass) {
  gtk_widget_class_set_accessible_type(GTK_WIDGET_CLASS(klass), flat_window_accessible_get_type());
}

void flat_window_init(FlatWindow*) {}

}  // namespace

GtkWidget* flat_window_new() {
  return GTK_WIDGET(g_object_new(flat_window_get_type(), "type", GTK_WINDOW_TOPLEVEL, nullptr));
}
