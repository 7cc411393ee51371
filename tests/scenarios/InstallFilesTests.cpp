// Staging over what is there: unchanged, newer, in use, or on a full disk.
#include <doctest/doctest.h>

#include <windows.h>

#include <algorithm>
#include <utility>

#include "tests/scenarios/ExpectedChanges.h"
#include "tests/scenarios/ExpectedLog.h"
#include "tests/scenarios/UnixLinks.h"
#include "tests/support/FileSnapshot.h"
#include "tests/support/TestFiles.h"

using namespace Expected;
using TestSupport::FileContent;
using TestSupport::Outcome;
using TestSupport::RemoveTree;
using TestSupport::WindowsVersion;

namespace {

constexpr char kSourceFile[] = "C:\\VelaTest\\source\\OL\\Redemption.dll";

// A destination, and what the log says about one file below it. Others follow it in its folder.
class Destination {
 public:
  explicit Destination(std::wstring folder) : folder_(std::move(folder)) {}

  const std::wstring& Folder() const { return folder_; }
  std::wstring Base() const { return folder_ + L"\\Orvane Labs\\"; }
  std::wstring File() const { return Base() + L"VELA\\VELA_OL\\Redemption.dll"; }
  std::wstring WaitingFile() const { return File() + L".tmp_"; }

  Lines NotCopied(int error) const {
    return Error("::CopyFile() failed: err(" + std::to_string(error) + "), src(" + kSourceFile + "), dst(" + Shown() +
                 ")");
  }
  Lines Scheduled() const {
    return Info(std::string("RebootMove('") + kSourceFile + "', '" + Shown() + "') succeeded");
  }
  Lines NotScheduled(int error) const {
    return Error(std::string("CoreAgentUtility::File::copyFileEx(") + kSourceFile + "," + Shown() +
                 ".tmp_) failed, err=" + std::to_string(error));
  }
  Lines Pending() const { return {Shown() + ".tmp_ -> !" + Shown()}; }

  // The log of an installation that says `lines` about that file. Where `endsFolder`, nothing behind it in its folder
  // is copied.
  Lines InstallLog(const Lines& lines, bool endsFolder) const {
    Lines staging;
    bool skipping = false;
    for (const std::string& line : FilesStaged(OutlookExpress::kLeftOut, Base())) {
      skipping = skipping && line.find("CopyFile(C:\\VelaTest\\source\\OL\\") != std::string::npos;
      if (line.find(std::string("CopyFile(") + kSourceFile) != std::string::npos) {
        staging = Joined({staging, lines});
        skipping = endsFolder;
      } else if (!skipping) {
        staging.push_back(line);
      }
    }
    return Joined({InstallBegins(World::kSource, folder_), staging, SwitchUnreadable(2), OutlookMissing(),
                   ClientsRegistered(Base()), RunEnds(0)});
  }

 private:
  std::string Shown() const { return TestSupport::ToUtf8(File()); }
  std::wstring folder_;
};

const Destination kUsual{World::kDestination};

TEST_CASE("a second run with the same source copies nothing and says the same") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  const Outcome first = world.Run(L"-I", World::kSource, World::kDestination);

  const Outcome second = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK(second.exitCode == 0);
  CHECK(second.fileDiff.empty());
  CHECK(second.registryDiff.empty());
  CHECK(second.moduleDiff.empty());
  CHECK(second.pending.empty());
  Lines wanted = first.log;
  wanted.erase(std::find(wanted.begin(), wanted.end(), SwitchUnreadable(2).front()));
  CHECK_LINES(second.log, (wanted));
}

TEST_CASE("a staged file that has the time of its source is not written, in use or not") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  const Outcome first = world.Run(L"-I", World::kSource, World::kDestination);
  for (const std::wstring& file : FilesInCopyOrder(kBase)) {
    world.WithOpenFile(kBase + file.substr(1), FILE_SHARE_READ);
  }

  const Outcome second = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK(TestSupport::LinesWith(second.log, "successed").size() ==
        TestSupport::LinesWith(first.log, "successed").size());
  CHECK(TestSupport::LinesWith(second.log, "fail").empty());
  CHECK(second.pending.empty());
}

TEST_CASE("a second run copies what changed in the source, and nothing else") {
  World world;
  world.OnWindows(WindowsVersion::kVista).WithSampleSource();
  world.Run(L"-I", World::kSource, World::kDestination);
  world.WithFile(World::kSource + std::wstring(L"\\rule\\base.rul"), "another rule");
  world.WithFile(World::kSource + std::wstring(L"\\WLM\\new.txt"), "new");

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK_LINES(Sorted(outcome.fileDiff), {"+dest\\Orvane Labs\\VELA\\VELA_WLM\\new.txt",
                                         "~dest\\Orvane Labs\\VELA\\VELA_OE\\rule\\base.rul content time",
                                         "~dest\\Orvane Labs\\VELA\\VELA_OL\\rule\\base.rul content time",
                                         "~dest\\Orvane Labs\\VELA\\VELA_WLM\\rule\\base.rul content time"});
}

TEST_CASE("files of the destination that the source does not have stay") {
  World world;
  world.WithSampleSource().WithFile(kBase + std::wstring(L"VELA\\VELA_OL\\own.txt"), "somebody's own");

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK(TestSupport::LinesWith(outcome.fileDiff, "own.txt").empty());
  CHECK(FileContent(kBase + std::wstring(L"VELA\\VELA_OL\\own.txt")) == "somebody's own");
}

TEST_CASE("a file in use is replaced at the restart") {
  World world;
  world.WithSampleSource().WithFile(kUsual.File(), "in use").WithOpenFile(kUsual.File(), FILE_SHARE_READ);

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log, (kUsual.InstallLog(Joined({kUsual.NotCopied(32), kUsual.Scheduled()}), false)));
  CHECK_LINES(outcome.pending, (kUsual.Pending()));
  CHECK(FileContent(kUsual.File()) == "in use");
  CHECK(FileContent(kUsual.WaitingFile()) == FileContent(World::kSource + std::wstring(L"\\OL\\Redemption.dll")));
}

TEST_CASE("a file that can be neither copied nor scheduled ends its folder") {
  World world;
  world.WithSampleSource().WithFile(kUsual.File(), "in use").WithOpenFile(kUsual.File(), FILE_SHARE_READ);
  world.WithFile(kUsual.WaitingFile(), "in use too").WithOpenFile(kUsual.WaitingFile(), FILE_SHARE_READ);

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log, (kUsual.InstallLog(Joined({kUsual.NotCopied(32), kUsual.NotScheduled(32)}), true)));
  CHECK(outcome.pending.empty());
}

TEST_CASE("a source file that cannot be read ends its folder") {
  World world;
  world.WithSampleSource().WithOpenFile(World::kSource + std::wstring(L"\\OL\\Redemption.dll"), 0);

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log, (kUsual.InstallLog(Joined({kUsual.NotCopied(32), kUsual.NotScheduled(32)}), true)));
}

TEST_CASE("settings that cannot be copied are a warning") {
  World world;
  world.WithSampleSource();
  const std::wstring settings = World::kSource + std::wstring(L"\\Resource\\common\\");
  world.WithOpenFile(settings + L"VELA_OL.ini", 0);
  RemoveTree(settings + L"VELA_WLM.ini");

  const Outcome outcome = world.Run(L"-I", World::kSource, World::kDestination);

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(TestSupport::LinesWith(outcome.log, "LOG_WARN"),
              {"LOG_WARN : Fail to copy VELA_OL.ini !", "LOG_WARN : Fail to copy VELA_WLM.ini !"});
  CHECK_LINES(Sorted(outcome.moduleDiff), (ModulesRegistered(OutlookExpress::kLeftOut)));
}

// A destination that the world does not watch: what lies on a full disk can be read without end.
struct FullDisk {
  Destination destination{L"C:\\VelaFullDisk"};

  FullDisk() {
    RemoveTree(destination.Folder());
    TestSupport::MakeFolder(destination.Base() + L"VELA\\VELA_OL");
  }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;
  ~FullDisk() { RemoveTree(destination.Folder()); }
};

TEST_CASE("a file for which the disk has no room is scheduled") {
  World world;
  world.WithSampleSource();
  const FullDisk disk;
  const Destination& destination = disk.destination;
  const TestSupport::FullDiskFile file(destination.File());

  const Outcome outcome = world.Run(L"-I", World::kSource, destination.Folder());

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log,
              (destination.InstallLog(Joined({destination.NotCopied(112), destination.Scheduled()}), false)));
  CHECK_LINES(outcome.pending, (destination.Pending()));
}

TEST_CASE("a disk without room for the waiting file either ends the folder") {
  World world;
  world.WithSampleSource();
  const FullDisk disk;
  const Destination& destination = disk.destination;
  const TestSupport::FullDiskFile file(destination.File());
  const TestSupport::FullDiskFile waiting(destination.WaitingFile());

  const Outcome outcome = world.Run(L"-I", World::kSource, destination.Folder());

  CHECK(outcome.exitCode == 0);
  CHECK_LINES(outcome.log,
              (destination.InstallLog(Joined({destination.NotCopied(112), destination.NotScheduled(112)}), true)));
  CHECK(outcome.pending.empty());
}

}  // namespace
