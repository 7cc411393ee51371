// Facts about Windows that the program relies on, checked on this system.
//
// A fact is a row: a sentence, a question, the expected answer of Windows, and the source of that answer. If Wine
// answers otherwise, the row declares that answer, too. A declaration that is no longer true counts as wrong, like a
// wrong answer. A question that this Wine cannot be asked needs a declaration as well.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Facts {

// This system, and what this process may do on it.
struct System {
  std::string name;     // "Windows 10.0.22631, elevated", "Wine 8.0 as Windows 10.0.18362, ..."
  unsigned long build;  // reported by the system itself
  unsigned wine;        // the major version; 0: a real Windows
  bool elevated;
  bool localSystem;
  bool otherThanLocalSystem;
  bool ordinary;  // neither of the first two
  bool sessionHost;
  bool program;  // VELAutil.exe exists

  static System Ask();
};

// The question makes no sense without this.
struct Need {
  std::string_view text;
  unsigned long build = 0;      // at least
  bool System::*met = nullptr;  // if not null
};
inline constexpr Need kNothing = {};
inline constexpr Need kVista = {"Windows Vista", 6000};
inline constexpr Need kWindows7 = {"Windows 7", 7600};
inline constexpr Need kWindows8 = {"Windows 8", 9200};
inline constexpr Need kWindows81 = {"Windows 8.1", 9600};
inline constexpr Need kWindows10In22H2 = {"Windows 10 22H2", 19045};
inline constexpr Need kElevation = {"elevation", 0, &System::elevated};
inline constexpr Need kNoElevation = {"a process that is not elevated", 0, &System::ordinary};
inline constexpr Need kNotLocalSystem = {"an account other than the local system", 0, &System::otherThanLocalSystem};
inline constexpr Need kSessionHost = {"a session host", 0, &System::sessionHost};
inline constexpr Need kProgram = {"VELAutil.exe beside this program", 0, &System::program};

inline constexpr std::string_view kAsWindows;
inline constexpr std::string_view kNotAsked = "not asked";  // this Wine lacks what the fact needs
inline constexpr std::string_view kAsWine8 = "as Wine 8";
inline constexpr std::string_view kReliedOn = "no page says so; the program relies on it";

struct Fact {
  std::string_view sentence;
  std::string (*ask)();
  std::string_view expected;            // of Windows
  std::string_view source;              // the title of the page that says so, or a note that no page does
  std::string_view wine8 = kAsWindows;  // or kNotAsked, or the declared answer
  Need need = kNothing;
  Need second = kNothing;
  std::string_view wine10 = kAsWine8;

  constexpr std::string_view Wine10() const { return wine10 == kAsWine8 ? wine8 : wine10; }
};

struct Group {
  std::string_view subject;
  const Fact* facts;
  std::size_t count;

  const Fact* begin() const { return facts; }
  const Fact* end() const { return facts + count; }
};

extern const Group kFileFacts;
extern const Group kLinkFacts;
extern const Group kAccessFacts;
extern const Group kRegistryFacts;
extern const Group kProcessFacts;
extern const Group kSessionFacts;
extern const Group kLibraryFacts;
inline constexpr const Group* kGroups[] = {&kFileFacts,    &kLinkFacts,    &kAccessFacts, &kRegistryFacts,
                                           &kProcessFacts, &kSessionFacts, &kLibraryFacts};

// VELAutil.exe in the folder of this program, or one folder up, as in the build; empty if it does not exist.
std::wstring ProgramPath();

// docs/windows-facts.md, made from the table of facts and from the records of real Windows systems (a folder of files
// that --record wrote). Writes or compares the page; the result is an exit code.
int MakePage(const std::wstring& records, const std::wstring& page, bool compare);

// The text between an answer and its sentence in a record.
inline constexpr std::string_view kSeparator = " | ";

// True if each row is complete and has no unnecessary declaration. The question is not checked: in a build with the
// undefined-behaviour traps, GCC does not compare functions at compile time.
template <std::size_t count>
constexpr bool AreSound(const Fact (&facts)[count]) {
  for (const Fact& fact : facts) {
    if (fact.sentence.empty() || fact.expected.empty() || fact.source.empty() || fact.wine8 == fact.expected ||
        fact.Wine10() == fact.expected) {
      return false;
    }
  }
  return true;
}

}  // namespace Facts
