#include "check/CodeList.h"

#include <stdexcept>

#include "CLocaleBlanks.h"
#include "utils/Helper.h"

namespace emailservice::check {

namespace {

// The filters' conversion, and what it leaves unread.
CodeEntry parse(std::string const& text) {
  CodeEntry entry;
  entry.text = text;
  try {
    std::size_t used = 0;
    entry.value = std::stoi(text, &used, 16);
    entry.parses = true;
    std::size_t const start = text.find_first_not_of(kCLocaleBlanks);
    entry.read = text.substr(start, used - start);
    if (text.find_first_not_of(kCLocaleBlanks, used) != std::string::npos) {
      entry.ignored = text.substr(used);
    }
  } catch (std::invalid_argument const&) {
  } catch (std::out_of_range const&) {
    entry.outOfRange = true;
  }
  return entry;
}

}  // namespace

CodeList::CodeList(std::string const& text) {
  std::vector<std::string> pieces;
  utils::Helper::split(text, ",", pieces);
  for (auto const& piece : pieces) {
    codes.push_back(parse(piece));
  }
}

std::size_t CodeList::firstBad() const {
  std::size_t index = 0;
  while (index < codes.size() && codes[index].parses) {
    ++index;
  }
  return index;
}

}  // namespace emailservice::check
