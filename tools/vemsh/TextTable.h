// Aligned plain-text tables: every column as wide as its widest cell, two spaces apart.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace vemsh {

class TextTable {
 public:
  TextTable() = default;
  explicit TextTable(std::vector<std::string> header) { rows_.push_back(std::move(header)); }

  void addRow(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
  // Writes the header (if any) and the rows; lines carry no trailing blanks.
  void write(std::ostream& out, std::string_view indent = {}) const;

 private:
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace vemsh
