#pragma once

#include <gtk/gtk.h>

// A top-level window whose accessible object lists the children of its content box as its own
// children. Pro Tools' edit window shows its counter cluster and its track rows directly below the
// window; a GTK window holds one child, so without this its accessible tree would have a box in
// between.
GtkWidget* flat_window_new();
