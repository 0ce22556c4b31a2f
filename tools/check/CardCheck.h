// The configuration check of a card file: the card is read as the card simulator reads it, and
// the configuration list and the device names are read through the simulated card's data store,
// as the e-mail service reads them. Each finding is placed at its line of the card file.
#pragma once

#include <google/protobuf/text_format.h>

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "card_state.pb.h"
#include "emailservice/ConfigurationCheck.h"

namespace tools {

class CardCheck final {
 public:
  // Why a card file cannot be checked: it cannot be read, or its first syntax error, with the
  // 1-based line and column of that error (0 when the problem has no place).
  struct Problem {
    std::string message;
    int line;
    int column;
  };

  // `cardFile` "-" is standard input, named "<stdin>" in what is printed; a pipe is read as a
  // file is (simcard::CardFile::read).
  explicit CardCheck(std::string cardFile);

  // Reads and parses the card, loads it into the simulated card and checks it. False with
  // problem() set and `error` its diagnostic() when the card file cannot be used.
  bool run(std::string& error);
  // The same with the card file's content already read (a pipe or the standard input is read
  // once, by whoever reads it first).
  bool check(std::string const& content, std::string& error);
  // The findings of the card that the simulated card holds now.
  static std::vector<emailservice::check::Finding> checkLoadedCard();

  std::string const& name() const { return file; }
  Problem const& problem() const { return trouble; }
  // "NAME: cannot read: ...", "NAME:LINE:COLUMN: ..."
  std::string diagnostic() const;
  std::vector<emailservice::check::Finding> const& findings() const { return found; }
  std::size_t count(emailservice::check::Severity severity) const;
  bool hasErrors() const { return count(emailservice::check::Severity::Error) > 0; }
  // The 1-based line of the card file that `finding` is about, or 0 (see CardLocator).
  int lineOf(emailservice::check::Finding const& finding) const;

  // "NAME:LINE: configuration 2 "Facilities": exceptionEvents entry 3 ..." ("NAME: " without a line).
  std::string line(emailservice::check::Finding const& finding) const;
  // One finding a line.
  void printLines(std::ostream& out) const;

 private:
  bool read(std::string& content);
  bool parse(std::string const& content);

  std::string path;  // as given: "-" for standard input
  std::string file;  // as printed
  Problem trouble{};
  simcard::proto::CardState card;
  std::unique_ptr<google::protobuf::TextFormat::ParseInfoTree> where;
  std::vector<emailservice::check::Finding> found;
};

}  // namespace tools
