// Utility library: small text helpers.
#pragma once

#include <string>
#include <vector>

namespace utils {

class Helper {
 public:
  // Appends to `pieces` the parts of `text` between the occurrences of `separator`, in order,
  // unchanged (no trimming). Empty parts between separators are kept ("a,,b" gives "a", "", "b";
  // "a," gives "a", ""), but the empty text gives no part at all. An empty separator gives the
  // whole text as one part.
  static void split(std::string const& text, std::string const& separator, std::vector<std::string>& pieces);
};

}  // namespace utils
