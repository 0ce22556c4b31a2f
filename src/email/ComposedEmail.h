// One composed e-mail as it travels from its kind to the mail command and, in outbox builds, into
// the outbox: built once, when the kind hands it over (EmailGlobalConfig::sendEmail).
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace emailservice {

struct ComposedEmail {
  std::string configurationId;
  std::string configurationName;
  std::string subject;     // as the kind composed it, before any escaping for the shell
  std::string recipients;  // the configuration's recipient text, unchanged
  std::string bodyFile;    // the work file that holds the body
  // The body itself, for an e-mail that the mail command reads on its standard input instead of
  // from `bodyFile` (a kept e-mail sent again: what was checked is what is sent).
  std::optional<std::string> body;
  // The attachment paths, in the order of the command.
  std::vector<std::string> attachments;
  // The attachment list as the kinds wrote it, each path after a blank (the system logs bring a
  // blank of their own): the contract's mail command carries it byte for byte after "-a".
  std::string attachmentList;

  // Sets both forms from a kind's attachment list: the paths are its pieces between blanks (as the
  // shell splits it: blank, tab, line feed).
  void setAttachmentList(std::string const& list);
  // Sets both forms from attachment paths: the list is each path after one blank.
  void setAttachments(std::vector<std::string> paths);
};

}  // namespace emailservice
