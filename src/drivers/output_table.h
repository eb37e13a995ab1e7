#pragma once

#include <glib.h>

#include <array>
#include <map>
#include <utility>

/// What the outputs of a three-output board give, by angle and intensity: a table of cells in equal steps of
/// both.
class OutputTable {
 public:
  /// The LEDs of the light: the first has outputs 0 and 2, the second output 1.
  static constexpr gint kLeds = 2;
  /// What a cell gives to the outputs of each LED.
  using Cell = std::array<gint, kLeds>;

  OutputTable() = default;
  /// Angles and intensities are divided by @p angle_div and @p intensity_div to find the row and the column.
  OutputTable(gint rows, gint columns, gint angle_div, gint intensity_div)
      : rows_{rows}, columns_{columns}, angle_div_{angle_div}, intensity_div_{intensity_div} {}

  gint row_of(gint angle) const { return divide(angle, angle_div_); }
  gint column_of(gint intensity) const { return divide(intensity, intensity_div_); }
  gint last_column() const { return columns_ - 1; }

  /// FALSE when the table has no such cell.
  bool set(gint row, gint column, const Cell &cell);
  /// The cell next to that place in the table; zeros where nothing was set.
  Cell at(gint row, gint column) const;

 private:
  static gint divide(gint value, gint divisor);

  gint rows_ = 0;
  gint columns_ = 0;
  gint angle_div_ = 0;
  gint intensity_div_ = 0;
  std::map<std::pair<gint, gint>, Cell> cells_;
};

/// The values of outputs 0, 1 and 2.
using Outputs = std::array<gint, 3>;

gint64 total_of(const Outputs &outputs);

/// Watts per unit of an output.
inline constexpr gdouble kWattsPerUnit = 0.0018;

/// What the outputs give at @p angle for the intensities that are @p requested of the light's two LEDs: the
/// highest columns up to that of @p intensity whose total needs no more than @p granted watts, or column 0.
Outputs granted_outputs(const OutputTable &table, gint angle, gint intensity,
                        const std::array<gint, 2> &requested, gdouble granted);

/// The watts that the outputs need at @p angle and @p intensity.
gdouble needed_watts(const OutputTable &table, gint angle, gint intensity);

/// What is left of @p outputs after @p reduction; output 2 carries the same share as output 0.
Outputs reduced_outputs(const Outputs &outputs, gdouble reduction);
