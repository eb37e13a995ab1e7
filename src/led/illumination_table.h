#pragma once

#include <glib.h>

G_BEGIN_DECLS

/// What each LED of a light gives at one intensity.
typedef struct {
  gint intensity;
  gint *levels;  ///< one per LED; NULL ends the row
} IlluminationPoint;

/// The intensity points of one angle. The row whose `points` is NULL ends the table; a row may also hold no
/// point but the last.
typedef struct {
  gint angle;
  IlluminationPoint *points;
} IlluminationRow;

/// Frees a table with its rows, points and level lists (all from g_malloc()). Takes NULL.
void illumination_table_free(IlluminationRow *table);

G_END_DECLS
