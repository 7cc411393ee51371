#include "tests/matrix/ExpectedTexts.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

using TestSupport::Lines;

namespace Matrix {
namespace {

constexpr const char* kSystems[] = {"windows_xp", "windows_server_2003", "windows_vista", "windows_7",
                                    "windows_8",  "windows_8_1",         "windows_10"};

using Said = std::map<std::string, Lines>;
using Place = Lines::const_iterator;

// True if the line begins with `mark`; then `rest` is the remaining text.
bool Begins(const std::string& line, const std::string& mark, std::string& rest) {
  const bool begins = line.compare(0, mark.size(), mark) == 0;
  if (begins) {
    rest = line.substr(mark.size());
  }
  return begins;
}

const Lines& Find(const Said& said, const std::string& name) {
  const auto found = said.find(name);
  if (found == said.end()) {
    throw std::runtime_error("no earlier text has this name: " + name);
  }
  return found->second;
}

Lines Replaced(Lines lines, const std::string& what, const std::string& by) {
  for (std::string& line : lines) {
    for (std::size_t at = line.find(what); at != std::string::npos; at = line.find(what, at + by.size())) {
      line.replace(at, what.size(), by);
    }
  }
  return lines;
}

std::size_t Number(const std::string& text) {
  return std::strtoul(text.c_str(), nullptr, 10);
}

// `text` with the changes of the lines from `line` to `end`.
Lines Changed(const Lines& text, Place line, Place end) {
  Lines changed;
  std::size_t next = 0;
  const auto copyTo = [&](std::size_t to) {
    if (to < next || to > text.size()) {
      throw std::runtime_error("this line number is too high or out of order: " + std::to_string(to + 1));
    }
    changed.insert(changed.end(), text.begin() + static_cast<std::ptrdiff_t>(next),
                   text.begin() + static_cast<std::ptrdiff_t>(to));
    next = to;
  };
  for (std::string rest; line != end; ++line) {
    if (Begins(*line, "@@ ", rest)) {
      copyTo(Number(rest) - 1);
    } else if (Begins(*line, "+", rest)) {
      changed.push_back(rest);
    } else if (Begins(*line, "-", rest)) {
      if (Begins(rest, "[", rest)) {
        next += Number(rest) - 1;
        rest.erase(0, rest.find(']') + 1);
      }
      if (next >= text.size() || text[next++] != rest) {
        throw std::runtime_error("removes a line that the earlier text does not have here: " + rest);
      }
    } else {
      throw std::runtime_error("not a line of a change (@@, + or -): " + *line);
    }
  }
  copyTo(text.size());
  return changed;
}

// The cells of a list: a system without a code page means both.
Lines CellsOf(const std::string& list) {
  Lines cells;
  std::istringstream names(list);
  for (std::string name; names >> name;) {
    const std::size_t before = cells.size();
    for (const char* const row : kSystems) {
      const std::string system = row;
      for (const char* const codePage : {".1252", ".932"}) {
        if (name == system || name == system + codePage) {
          cells.push_back(system + codePage);
        }
      }
    }
    if (cells.size() == before) {
      throw std::runtime_error("no system or cell of the matrix has this name: " + name);
    }
  }
  return cells;
}

// The text of one part of a run, from `line` to `end`. `basis`: the text that it differs from, if it names no other;
// null if the part must be a whole text.
Lines Text(const Said& said, const Lines* basis, Place line, Place end) {
  std::string name;
  if (line != end && Begins(*line, "like ", name)) {
    basis = &Find(said, name);
    ++line;
  }
  if (basis == nullptr || line == end) {
    return basis != nullptr ? *basis : Lines(line, end);
  }
  std::string exchange;
  if (!Begins(*line, "with ", exchange)) {
    return Changed(*basis, line, end);
  }
  const std::size_t middle = exchange.find(" for ");
  if (middle == std::string::npos) {
    throw std::runtime_error("not in the form with <new> for <old>: " + *line);
  }
  const Lines replaced = Replaced(*basis, exchange.substr(middle + 5), exchange.substr(0, middle));
  return ++line == end ? replaced : Changed(replaced, line, end);
}

bool BeginsPart(const std::string& line) {
  return line.compare(0, 6, "##### ") == 0 || line.compare(0, 6, "===== ") == 0;
}

}  // namespace

Chapter ExpectedTexts::Read(const std::string& chapter, const Lines& text) {
  Chapter runs;
  Said cells;  // of the run that is being read
  std::string place;
  try {
    for (Place line = text.begin(), end; line != text.end(); line = end) {
      place = chapter + ".txt:" + std::to_string(line - text.begin() + 1) + ": " + *line + ": ";
      end = std::find_if(line + 1, text.end(), BeginsPart);
      std::string head;
      if (Begins(*line, "##### ", head)) {
        cells.clear();
        runs.push_back({head, Text(said_, nullptr, line + 1, end)});
        if (!said_.emplace(chapter + ": " + head, runs.back().lines).second) {
          throw std::runtime_error("this run is in the text twice");
        }
      } else if (Begins(*line, "===== ", head) && !runs.empty()) {
        const Lines changed = Text(cells, &said_.at(chapter + ": " + runs.back().title), line + 1, end);
        for (const std::string& cell : CellsOf(head)) {
          if (!cells.emplace(cell, changed).second) {
            throw std::runtime_error("this cell is listed twice: " + cell);
          }
          if (cell == cell_) {
            runs.back().lines = changed;
          }
        }
      } else {
        throw std::runtime_error("neither the beginning of a run nor of its cells");
      }
    }
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(place + error.what());
  }
  return runs;
}

}  // namespace Matrix
