// Path building (settings/ProductFolders.h): where backslashes are added and where they are not.
#include "settings/ProductFolders.h"
#include "tests/fuzz/Input.h"

using Fuzz::Require;

namespace {

bool EndsInBackslash(const std::wstring& text) {
  return !text.empty() && text[text.size() - 1] == L'\\';
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Fuzz::Input input(data, size);
  const std::wstring folder = input.Text();
  const std::wstring name = input.Text();

  const std::wstring ended = ProductFolders::WithTrailingBackslash(folder);
  const bool needsOne = !folder.empty() && !EndsInBackslash(folder);
  Require(ended == (needsOne ? folder + L"\\" : folder), "one backslash where none is, none for an empty path");
  Require(ProductFolders::WithTrailingBackslash(ended) == ended, "ended once is ended");

  const std::wstring joined = ProductFolders::Join(folder, name);
  Require(joined == (EndsInBackslash(folder) ? folder + name : folder + L"\\" + name), "joined by one backslash");
  Require(folder.empty() || joined == ended + name, "both ways of joining agree but for an empty folder");

  const std::wstring base = ProductFolders::GetBaseFolder(folder);
  Require(base == ended + L"Orvane Labs\\", "the base folder is the product's folder below the root");
  return 0;
}
