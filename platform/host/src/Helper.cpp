#include "utils/Helper.h"

namespace utils {

void Helper::split(std::string const& text, std::string const& separator, std::vector<std::string>& pieces) {
  if (text.empty()) {
    return;
  }
  if (separator.empty()) {
    pieces.push_back(text);
    return;
  }
  std::string::size_type start = 0;
  for (auto found = text.find(separator); found != std::string::npos; found = text.find(separator, start)) {
    pieces.push_back(text.substr(start, found - start));
    start = found + separator.size();
  }
  pieces.push_back(text.substr(start));
}

}  // namespace utils
