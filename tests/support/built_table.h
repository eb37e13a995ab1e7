#pragma once

#include <glib.h>

#include <utility>
#include <vector>

#include "led/illumination_table.h"

/// An illumination table made of lists, row by row, for what reads tables. It lives in its lists: reading a
/// level that they do not hold is an error that the address sanitizer finds.
class BuiltTable {
 public:
  struct Point {
    gint intensity;
    std::vector<gint> levels;
  };
  struct Row {
    gint angle;
    std::vector<Point> points;
  };

  explicit BuiltTable(std::vector<Row> rows) : rows_{std::move(rows)} {
    for (auto &row : rows_) {
      auto &points = points_.emplace_back();
      for (auto &point : row.points) {
        point.levels.reserve(1);  // so that there is a list, if of nothing
        points.push_back({point.intensity, point.levels.data()});
      }
      points.push_back({0, nullptr});
      table_.push_back({row.angle, points.data()});
    }
    table_.push_back({0, nullptr});
  }
  BuiltTable(const BuiltTable &) = delete;
  BuiltTable &operator=(const BuiltTable &) = delete;

  const IlluminationRow *get() const { return table_.data(); }
  const IlluminationRow &operator[](gsize row) const { return table_[row]; }

  const std::vector<Row> &rows() const { return rows_; }

 private:
  std::vector<Row> rows_;
  std::vector<std::vector<IlluminationPoint>> points_;
  std::vector<IlluminationRow> table_;
};
