#include "Common/FrwkCommon/Frwk_CoreAgentRegistry.h"

namespace Frwk::Storage {
namespace {

constexpr wchar_t kArea[] = L"Software\\OrvaneLabs\\CoreAgent\\";

// Runs `operation`; false if it threw a storage failure.
template <class Operation>
bool Succeeds(const Operation& operation) {
  try {
    operation();
    return true;
  } catch (OrCommon::Storage::Exception* failure) {
    delete failure;
    return false;
  }
}

}  // namespace

CoreAgentRegistry::CoreAgentRegistry(DWORD number) noexcept
    : number_(number), view_(OrCommon::Storage::GetSystemView()) {}

CoreAgentRegistry::~CoreAgentRegistry() = default;

bool CoreAgentRegistry::OpenForReading(const std::wstring& product) {
  return Succeeds([&] { key_.OpenForReading(HKEY_LOCAL_MACHINE, kArea + product, view_); });
}

bool CoreAgentRegistry::OpenForWriting(const std::wstring& product) {
  return Succeeds([&] { key_.OpenForWriting(HKEY_LOCAL_MACHINE, kArea + product, view_); });
}

void CoreAgentRegistry::Close() {
  Succeeds([&] { key_.Close(); });
}

DWORD CoreAgentRegistry::ReadNumber(const std::wstring& name, DWORD fallback) const {
  DWORD number = fallback;
  Succeeds([&] { number = key_.QueryNumber32(name); });
  return number;
}

bool CoreAgentRegistry::StoreNumber(const std::wstring& name, DWORD value) {
  return Succeeds([&] { key_.SetNumber32({name, value}); });
}

}  // namespace Frwk::Storage
