#include "drivers/output_table.h"

#include <algorithm>

#include "daemon/numbers.h"
#include "drivers/level_share.h"

gint OutputTable::divide(gint value, gint divisor) {
  return divisor == 0 || (value == G_MININT && divisor == -1) ? 0 : value / divisor;
}

bool OutputTable::set(gint row, gint column, const Cell &cell) {
  if (row < 0 || row >= rows_ || column < 0 || column >= columns_)
    return false;
  cells_[{row, column}] = cell;
  return true;
}

OutputTable::Cell OutputTable::at(gint row, gint column) const {
  const auto cell = cells_.find({std::clamp(row, 0, std::max(rows_ - 1, 0)),  //
                                 std::clamp(column, 0, std::max(columns_ - 1, 0))});
  return cell != cells_.end() ? cell->second : Cell{};
}

gint64 total_of(const Outputs &outputs) { return gint64{outputs[0]} + outputs[1] + outputs[2]; }

Outputs granted_outputs(const OutputTable &table, gint angle, gint intensity,
                        const std::array<gint, 2> &requested, gdouble granted) {
  const gint row = table.row_of(angle);
  // Columns beyond the table are all its last one.
  gint column = std::min(table.column_of(intensity), std::max(table.last_column(), 0));
  for (;; --column) {
    const gint outer = table.at(row, std::min(table.column_of(requested[0]), column))[0];
    const gint inner = table.at(row, std::min(table.column_of(requested[1]), column))[1];
    const Outputs outputs = {outer, inner, outer};
    // A grant that is no number counts as none.
    const bool fits = granted >= static_cast<gdouble>(total_of(outputs)) * kWattsPerUnit;
    if (fits || column <= 0)
      return outputs;
  }
}

gdouble needed_watts(const OutputTable &table, gint angle, gint intensity) {
  const auto [outer, inner] = table.at(table.row_of(angle), table.column_of(intensity));
  return static_cast<gdouble>(total_of({outer, inner, outer})) * kWattsPerUnit;
}

Outputs reduced_outputs(const Outputs &outputs, gdouble reduction) {
  const auto total = static_cast<gdouble>(total_of(outputs));
  if (!(total > 0))
    return {};
  const gint whole = to_int(reduction);
  const gdouble outer_share = outputs[0] / total;
  return {reduced_level(outputs[0], outer_share, whole), reduced_level(outputs[1], outputs[1] / total, whole),
          reduced_level(outputs[2], outer_share, whole)};
}
