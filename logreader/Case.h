// A run while it is judged: what the rules ask and say about it.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "logreader/Clients.h"
#include "logreader/Findings.h"
#include "logreader/Runs.h"

namespace LogReader {

// A file that an installation or an upgrade copied, or tried to copy.
struct CopiedFile {
  std::string source;       // below the source folder: "rule\base.rul"
  std::string destination;  // the whole path
  std::string part;         // the folder below "VELA" that it is in: "VELA_OL", "Resource"
  bool isThere;             // copied, or waits for the restart
};

// What the runs before have left on the machine, as far as their log shows it.
struct Before {
  bool startValuesAreDeleted = false;  // those that start the monitors at log-on
  std::string removedFolder;           // the product's folder that the last removal has deleted

  void Note(const Run& run);
};

class Case {
 public:
  Case(Run& judged, const Before& left);

  Run& run;
  const Before& before;
  std::vector<Line*> own;  // its lines, without those between two runs

  // ---- what a rule asks
  bool Has(std::string_view text) const;
  bool HasAny(std::initializer_list<std::string_view> texts) const;
  bool HasAnyOf(std::string_view Client::*text) const;
  std::vector<Line*> All(std::string_view text) const;
  // The line of this run behind or before this one; null if there is none.
  const Line* Next(const Line& line) const;
  const Line* Previous(const Line& line) const;
  bool IsClosingLineOnly() const;
  bool IsLastOfUnclosed(const Line& line) const;
  // Empty if the run has more lines than are kept.
  std::vector<CopiedFile> CopiedFiles() const;

  // ---- what a rule says
  void Set(Line& line, Kind kind);
  // Besides the kinds of the lines.
  void Find(Kind kind);
  void Find(Kind kind, const Line& line);
  void Find(Kind kind, long long line, const std::string& text);

  void Apply(const Rule& rule);
  // The verdict, without its sentence.
  Verdict Close();

 private:
  const Rule* rule_ = nullptr;  // that is being applied
  std::vector<Finding> found_;
};

}  // namespace LogReader
