#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "beamctl/style.h"

enum class Align { kLeft, kRight };

struct Column {
  std::string_view heading;
  Align align = Align::kLeft;
};

struct Cell {
  Cell(std::string text, Style style = Style::kPlain) : text(std::move(text)), style(style) {}
  Cell(const char *text, Style style = Style::kPlain) : text(text), style(style) {}

  std::string text;
  Style style;
};

/// Rows of cells below a line of headings, in columns two blanks apart and as wide as what they hold. Lines
/// end without blanks.
class Table {
 public:
  /// Columns whose headings are all empty have no line of headings.
  explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

  /// Cells that are missing at the end are empty.
  void add(std::vector<Cell> row);
  std::string text() const;

 private:
  std::vector<Column> columns_;
  std::vector<std::vector<Cell>> rows_;
};
