#pragma once

#include <glib.h>

#include <string>
#include <vector>

/// Where the tables stand, or what the names of their variants begin with.
inline constexpr const char *kIlluminationFile = "/etc/beamd/illumination.conf";

/// The most LEDs that a light may have.
inline constexpr gint kMostLeds = 1024;

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

/// A row of a table as it stands in its file. A level list may have any length; one that is no list of
/// numbers is empty.
struct ListedRow {
  struct Point {
    std::string intensity;
    std::vector<gint> levels;
  };

  gint angle = 0;
  std::vector<Point> points;
};

/// The number of LEDs, "leds" in group "info" of @p key_file (the caller's); 0 with @p error set when it is
/// missing, no number, or none that a light may have.
gint illumination_table_led_count(GKeyFile *key_file, GError **error);

/// The rows of @p key_file (the caller's): every group after the first, in file order, whatever its name.
/// What is no number counts as 0.
std::vector<ListedRow> illumination_table_list(GKeyFile *key_file);

/// How many intensity points @p rows have.
gsize point_count(const std::vector<ListedRow> &rows);

/// Whether a table of @p points for @p leds LEDs has a size that some board may need, rather than one that
/// takes the memory of everybody else.
bool illumination_table_fits(gsize points, gint leds);

/// The same. If it does not fit, that is logged at LOG_ERR.
bool illumination_table_is_affordable(gsize points, gint leds);

/// A new table of @p rows for a light of @p leds LEDs: levels that are missing are 0, surplus ones are left
/// out. To be freed with illumination_table_free().
IlluminationRow *illumination_table_new(const std::vector<ListedRow> &rows, gint leds);
