// The list of file moves that Windows does when it restarts.
#pragma once

#include "tests/support/TestRegistry.h"
#include "tests/support/TextLines.h"

namespace TestSupport {

// Empties the list now and at the end.
class PendingMoves {
 public:
  PendingMoves() { ClearPendingRenames(); }
  PendingMoves(const PendingMoves&) = delete;
  PendingMoves& operator=(const PendingMoves&) = delete;
  ~PendingMoves() { ClearPendingRenames(); }

  // "from -> to"; "!" before the target means that an existing file is replaced.
  TestSupport::Lines Lines() const {
    TestSupport::Lines lines;
    for (const auto& [from, to] : PendingRenames()) {
      lines.push_back(ToUtf8(from) + " -> " + ToUtf8(to));
    }
    return lines;
  }
};

}  // namespace TestSupport
