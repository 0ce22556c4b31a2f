#include "email/ComposedEmail.h"

#include <utility>

namespace emailservice {

namespace {

// Where the shell splits the unquoted list of the contract's command: blanks, tabs, line feeds.
constexpr char const kBlanks[] = " \t\n";

}  // namespace

void ComposedEmail::setAttachmentList(std::string const& list) {
  attachmentList = list;
  attachments.clear();
  for (auto begin = list.find_first_not_of(kBlanks); begin != std::string::npos;) {
    auto const end = list.find_first_of(kBlanks, begin);
    attachments.push_back(list.substr(begin, end - begin));
    begin = list.find_first_not_of(kBlanks, end);
  }
}

void ComposedEmail::setAttachments(std::vector<std::string> paths) {
  attachments = std::move(paths);
  attachmentList.clear();
  for (auto const& path : attachments) {
    attachmentList += ' ';
    attachmentList += path;
  }
}

}  // namespace emailservice
