#include "led/illumination_table.h"

void illumination_table_free(IlluminationRow *table) {
  for (IlluminationRow *row = table; row != nullptr && row->points != nullptr; ++row) {
    for (IlluminationPoint *point = row->points; point->levels != nullptr; ++point)
      g_free(point->levels);
    g_free(row->points);
  }
  g_free(table);
}
