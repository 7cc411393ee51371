// What the program takes for granted of the system, asked of the system at hand.
//
// A fact is a row: a sentence, a question, the answer that Windows is expected to give and whence that is known. Where
// Wine answers otherwise, that answer is declared in the row as well, and a declaration that is no longer true is as
// wrong as a wrong answer. So is a question that a Wine is not asked without a declaration of it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Facts {

// What must be so here, or the question makes no sense.
enum class Need { kNothing, kElevation, kNoElevation, kNotLocalSystem, kSessionHost, kProgram };

// Builds at which Windows changed. The oldest that the program runs on is the first.
enum Build : unsigned long {
  kAnyBuild = 3790,
  kVista = 6000,
  kWindows7 = 7600,
  kWindows8 = 9200,
  kWindows81 = 9600,
  kWindows10In22H2 = 19045,
};

struct Fact {
  std::string_view sentence;
  std::string (*ask)();
  std::string_view expected;  // of Windows
  std::string_view source;    // the title of the page that says so, or that none does
  std::string_view wine8;     // kAsWindows, kNotAsked, or what is declared
  std::string_view wine10;
  Need need = Need::kNothing;
  Build since = kAnyBuild;
};

struct Group {
  std::string_view subject;
  const Fact* facts;
  std::size_t count;
};

extern const Group kFileFacts;
extern const Group kLinkFacts;
extern const Group kAccessFacts;
extern const Group kRegistryFacts;
extern const Group kProcessFacts;
extern const Group kSessionFacts;
extern const Group kLibraryFacts;

inline constexpr std::string_view kAsWindows;
inline constexpr std::string_view kNotAsked = "not asked";  // a Wine that lacks what the fact needs
inline constexpr std::string_view kReliedOn = "no page says so; the program relies on it";

// True where each row is whole and declares nothing that needs no declaration. The probe is not looked at: GCC does not
// compare functions at compile time in a build that ends at undefined behaviour.
template <std::size_t count>
constexpr bool AreSound(const Fact (&facts)[count]) {
  for (const Fact& fact : facts) {
    if (fact.sentence.empty() || fact.expected.empty() || fact.source.empty() || fact.wine8 == fact.expected ||
        fact.wine10 == fact.expected) {
      return false;
    }
  }
  return true;
}

}  // namespace Facts
