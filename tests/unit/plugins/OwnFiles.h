// Folders that the tests of the plug-ins write to.
#pragma once

#include <string>

#include "tests/support/TextLines.h"

// A folder of the test's own: gone with everything in it before and after the test.
class OwnFolder {
 public:
  explicit OwnFolder(std::wstring path);
  OwnFolder(const OwnFolder&) = delete;
  OwnFolder& operator=(const OwnFolder&) = delete;
  ~OwnFolder();

  // A file below the folder; the folders on the way are made.
  void Write(const std::wstring& file, const std::string& content) const;
  void MakeFolder(const std::wstring& folder) const;
  // What lies in it, as in FileSnapshot.h.
  TestSupport::Lines Contents() const;

 private:
  std::wstring path_;
};
