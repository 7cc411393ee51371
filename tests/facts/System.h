// The system at hand and what this process may do there.
#pragma once

#include <string>

#include "tests/facts/Facts.h"

namespace Facts {

struct System {
  std::string name;     // "Windows 10.0.22631, elevated", "Wine 8.0 as Windows 10.0.18362, ..."
  unsigned long build;  // as the system itself knows it
  unsigned wine;        // the major version; 0: a real Windows
  bool elevated;
  bool localSystem;
  bool sessionHost;
  bool program;  // there is a VELAutil.exe

  static System Ask();
};

// Why the fact cannot be asked here, as it stands behind "needs"; empty where it can.
std::string Lacks(const System& system, const Fact& fact);

// VELAutil.exe beside this program, or one folder up, as the build has it; empty where there is none.
std::wstring ProgramPath();

// How a need and a build are told.
std::string NeedText(Need need);
std::string BuildText(Build build);

}  // namespace Facts
