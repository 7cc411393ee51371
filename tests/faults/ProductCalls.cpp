#include "tests/faults/ProductCalls.h"

#include <map>
#include <string_view>

namespace Faults {

const char* NameOf(ProductCall call) {
#define FAULTS_NAME(name, ...) #name,
  static constexpr const char* kNames[] = {FAULTS_IMPORTED_CALLS(FAULTS_NAME) FAULTS_BOUND_CALLS(FAULTS_NAME)};
#undef FAULTS_NAME
  static_assert(sizeof kNames / sizeof kNames[0] == kCallCount);
  return kNames[static_cast<int>(call)];
}

const std::vector<DWORD>* ErrorsOf(const char* function) {
#define FAULTS_LIST(...) \
  { __VA_ARGS__ }
#define FAULTS_ROW(name, errors, ...) {#name, FAULTS_LIST errors},
  // A local static: the first calls come before the static objects of this file are constructed.
  static const std::map<std::string_view, std::vector<DWORD>> rows = {FAULTS_IMPORTED_CALLS(FAULTS_ROW)
                                                                          FAULTS_BOUND_CALLS(FAULTS_ROW)};
#undef FAULTS_LIST
#undef FAULTS_ROW
  const auto row = rows.find(function);
  return row == rows.end() ? nullptr : &row->second;
}

}  // namespace Faults
