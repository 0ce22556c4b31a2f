// What emailservice-check prints for the card files it checked, in text or as JSON, and its exit
// status. The JSON format is described by docs/check.schema.json; kFormatVersion changes with
// any change that a reader of the previous format could misread.
#pragma once

#include <iosfwd>
#include <vector>

#include "CardCheck.h"

namespace tools {

class CheckReport final {
 public:
  static constexpr int kFormatVersion = 1;
  static constexpr int kExitErrors = 1;
  static constexpr int kExitUnusable = 2;

  // The checks, run (CardCheck::run); they must outlive the report.
  explicit CheckReport(std::vector<CardCheck> const& checks) : cards(checks) {}

  // Per card file its findings ("FILE:LINE: ..."), then "FILE: 3 errors, 2 warnings" or "FILE: no
  // findings"; a card file that cannot be used only as its diagnostic on `diagnostics`. `quiet`
  // leaves out the summaries and every finding that is not an error.
  void printText(std::ostream& out, std::ostream& diagnostics, bool quiet) const;
  void printJson(std::ostream& out) const;
  // 2 when a card file cannot be used, else 1 when a card has an error, else 0.
  int exitStatus() const;

 private:
  std::vector<CardCheck> const& cards;
};

}  // namespace tools
