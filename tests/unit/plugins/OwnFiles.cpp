#include "tests/unit/plugins/OwnFiles.h"

#include <utility>

#include "tests/support/FileSnapshot.h"
#include "tests/support/TestFiles.h"

OwnFolder::OwnFolder(std::wstring path) : path_(std::move(path)) {
  TestSupport::RemoveTree(path_);
  TestSupport::MakeFolder(path_);
}

OwnFolder::~OwnFolder() {
  TestSupport::RemoveTree(path_);
}

void OwnFolder::Write(const std::wstring& file, const std::string& content) const {
  TestSupport::WriteTestFile(path_ + L"\\" + file, content);
}

void OwnFolder::MakeFolder(const std::wstring& folder) const {
  TestSupport::MakeFolder(path_ + L"\\" + folder);
}

TestSupport::Lines OwnFolder::Contents() const {
  TestSupport::FileSnapshot snapshot;
  snapshot.Add(path_);
  return snapshot.AsLines();
}
