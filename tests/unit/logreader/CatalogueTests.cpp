// The table of messages that the build writes, and how an entry finds its message.
#include <doctest/doctest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <string>

#include "logreader/Catalogue.h"
#include "logreader/Clients.h"
#include "logreader/Texts.h"
#include "tests/support/Clients.h"
#include "tests/support/TextLines.h"

using namespace LogReader;

namespace {

// The text of the message with its values in brackets; empty if there is none.
std::string Found(Level level, std::string_view text) {
  Values values;
  const Message* const message = FindMessage(level, text, values);
  if (message == nullptr) {
    return {};
  }
  std::string found;
  std::size_t value = 0;
  for (const char character : message->text) {
    if (character != '\1') {
      found += character;
    } else if (value < values.size()) {
      found += '[';
      found += values[value];
      found += ']';
      ++value;
    }
  }
  CHECK(value == values.size());
  return found;
}

TEST_CASE("the table has the messages that the rules and the frame need") {
  TestSupport::Lines missing;
  for (const std::string_view text : Texts::kAll) {
    if (MessageOf(text) == nullptr) {
      missing.emplace_back(text);
    }
  }
  for (const std::string_view text : {kHeaderText, kClosingText, kUnknownSwitchText}) {
    if (MessageOf(text) == nullptr) {
      missing.emplace_back(text);
    }
  }
  for (const CommandName& name : kCommandNames) {
    const Message* const banner = MessageOf(name.banner);
    if (banner == nullptr || banner->kinds[static_cast<int>(name.command)] != Kind::kFrame) {
      missing.emplace_back(name.banner);
    }
  }
  CHECK_LINES(missing, {});
  CHECK(MessageOf("no such text") == nullptr);
}

TEST_CASE("logreader/Clients.h has every client, with all its messages") {
  constexpr std::string_view Client::*kTexts[] = {
      &Client::filesDone,     &Client::on,          &Client::noMonitor, &Client::monitorFailed,
      &Client::runsAtRemoval, &Client::startStays,  &Client::off,       &Client::notOff,
      &Client::notified,      &Client::notNotified, &Client::entryStays};
  constexpr std::string_view Client::*kOfMonitors[] = {&Client::noMonitor, &Client::monitorFailed, &Client::startStays};
  REQUIRE(std::size(kClients) == TestSupport::Clients().size());
  for (std::size_t index = 0; index < std::size(kClients); ++index) {
    const Client& client = kClients[index];
    const TestSupport::Client& expected = TestSupport::Clients()[index];
    CHECK(client.folder == TestSupport::ToUtf8(expected.FolderName()));
    CHECK(client.modules == static_cast<int>(expected.modules.size()));
    CHECK(client.isOnEveryWindows == !expected.endedWithVista);
    CHECK(client.getsCommonFiles == !expected.has64BitFiles);
    for (std::string_view Client::*text : kTexts) {
      CAPTURE(std::string(client.*text));
      const bool isOfMonitor = std::find(std::begin(kOfMonitors), std::end(kOfMonitors), text) != std::end(kOfMonitors);
      const bool hasText = isOfMonitor                      ? expected.hasMonitor
                           : text == &Client::runsAtRemoval ? expected.keptWhileRunning
                           : text == &Client::entryStays    ? expected.pluginEntry != nullptr
                                                            : true;
      CHECK((client.*text).empty() == !hasText);
      if (hasText) {
        const wchar_t* const name = text == &Client::entryStays ? expected.pluginEntry : expected.shortName;
        CHECK(MessageOf(client.*text) != nullptr);
        CHECK((client.*text).find(TestSupport::ToUtf8(name)) != std::string_view::npos);
      }
    }
  }
}

TEST_CASE("a text without a message has no values") {
  Values values = {"of another text"};
  CHECK(FindMessage(kInfo, "no such text", values) == nullptr);
  CHECK(values.empty());
}

TEST_CASE("every message has a text of its own, a level, a meaning and a kind") {
  std::set<std::string_view> texts;
  for (int index = 0; index < kMessageCount; ++index) {
    const Message& message = kMessages[index];
    CAPTURE(std::string(message.text));
    CHECK(texts.insert(message.text).second);
    CHECK((message.levels & (kInfo | kError | kWarn | kEvent)) != 0);
    CHECK_FALSE(message.meaning.empty());
    CHECK_FALSE(message.anchor.empty());
    CHECK(KindOf(message, Command::kUnknown, {}) != Kind::kNever);
    CHECK(message.text.back() != '\n');
  }
}

TEST_CASE("each message is found by its own text") {
  for (int index = 0; index < kMessageCount; ++index) {
    const Message& message = kMessages[index];
    std::string text;
    const auto count = std::count(message.text.begin(), message.text.end(), '\1');
    for (const char character : message.text) {
      text += character == '\1' ? "value" : std::string(1, character);
    }
    CAPTURE(text);
    for (const Level level : {kInfo, kError, kWarn, kEvent}) {
      Values values;
      const Message* const found = FindMessage(level, text, values);
      if ((message.levels & level) != 0) {
        REQUIRE(found != nullptr);
        CHECK(std::string(found->text) == std::string(message.text));
        CHECK((values == Values(static_cast<std::size_t>(count), "value")));
      } else {
        CHECK(found != &message);
      }
    }
  }
}

TEST_CASE("values are what is between the fixed texts") {
  CHECK(Found(kInfo, "CopyFile(C:\\a, C:\\b) successed.") == "CopyFile([C:\\a], [C:\\b]) successed.");
  CHECK(Found(kInfo, "CopyFile(C:\\a, b, C:\\c) successed.") == "CopyFile([C:\\a], [b, C:\\c]) successed.");
  CHECK(Found(kInfo, "CopyFile(, ) successed.") == "CopyFile([], []) successed.");
  CHECK(Found(kError, "::CopyFile() failed: err(32), src(a), dst(b)") ==
        "::CopyFile() failed: err([32]), src([a]), dst([b])");
  CHECK(Found(kInfo, "[2026/11/21 17:26:24] VELA END!!! RetrunCode:-520159231") ==
        "[[2026/11/21 17:26:24]] VELA END!!! RetrunCode:[-520159231]");
  CHECK(Found(kInfo, " cmd:-I\n src:a\ndest:b") == " cmd:[-I]\n src:[a]\ndest:[b]");
}

TEST_CASE("the message with the most fixed text is the right one") {
  CHECK(Found(kInfo, "GetStatus!!!!! FAIL!!") == "GetStatus!!!!! FAIL!!");
  CHECK(Found(kInfo, "GetStatus!!!!! 7") == "GetStatus!!!!! [7]");
  CHECK(Found(kInfo, "REG Open Fail") == "REG Open Fail");
  // With the same fixed text, the message with fewer values.
  const std::string launch = "Failed to call CreateProcessAsUser() to launch VELA_WLMMon.exe ";
  CHECK(Found(kError, launch + "8 ") == launch + "[8] ");
  CHECK(Found(kError, launch + "3 C:\\a") == launch + "[3] [C:\\a]");
}

TEST_CASE("another text, another level or a line more is another entry") {
  CHECK(Found(kInfo, "Enable OK").empty() == false);
  CHECK(Found(kInfo, "Enable OK!").empty());
  CHECK(Found(kInfo, "enable OK").empty());
  CHECK(Found(kInfo, "Enable O").empty());
  CHECK(Found(kInfo, "").empty());
  CHECK(Found(kError, "Enable OK").empty());
  CHECK(Found(kNoLevel, "Enable OK").empty());
  CHECK(Found(kInfo, "CopyFile(a, b\nc) successed.").empty());
  CHECK(Found(kInfo, "CopyFile(a, b) successed.\nmore").empty());
}

TEST_CASE("a blank at the end of a message may be missing") {
  CHECK(Found(kInfo, "Begin to unregister VELA_OLA.dll ... ") == "Begin to unregister VELA_OLA.dll ... ");
  CHECK(Found(kInfo, "Begin to unregister VELA_OLA.dll ...") == "Begin to unregister VELA_OLA.dll ... ");
  const std::string user = "CProviderAntiSpam::SetAntiSpamEnable() - dwSessionId:";
  CHECK(Found(kInfo, user + "1, szSID: ") == user + "[1], szSID: []");
  CHECK(Found(kInfo, user + "1, szSID:") == user + "[1], szSID: []");
  CHECK(Found(kInfo, user + "1, szSID").empty());
}

TEST_CASE("the beginning of a message is recognized") {
  CHECK(BeginsMessage(kInfo, ""));
  CHECK(BeginsMessage(kInfo, "Enabl"));
  CHECK(BeginsMessage(kInfo, "CopyFile(C:\\a"));
  CHECK(BeginsMessage(kInfo, "CopyFile(C:\\a, C:\\b"));
  CHECK_FALSE(BeginsMessage(kInfo, "CopyFiles"));
  CHECK_FALSE(BeginsMessage(kError, "Enabl"));
}

TEST_CASE("the kind is that of the command, unless a value decides") {
  const Message& openFail = *MessageOf("REG Open Fail");
  CHECK(KindOf(openFail, Command::kStatus, {}) == Kind::kFatal);
  CHECK(KindOf(openFail, Command::kEnable, {}) == Kind::kProblem);
  CHECK(KindOf(openFail, Command::kInstall, {}) == Kind::kNever);
  CHECK(KindOf(openFail, Command::kUnknown, {}) == Kind::kFatal);
  CHECK(IsWrittenBy(openFail, Command::kStatus));
  CHECK_FALSE(IsWrittenBy(openFail, Command::kInstall));
  CHECK(IsWrittenBy(openFail, Command::kUnknown));

  const Message& result = *MessageOf("RegisterComModule() execute result: \1");
  CHECK(KindOf(result, Command::kInstall, {"1"}) == Kind::kExpected);
  CHECK(KindOf(result, Command::kInstall, {"0"}) == Kind::kProblem);
  CHECK(KindOf(result, Command::kInstall, {"00"}) == Kind::kExpected);
  const Message& deletion = *MessageOf(Texts::kFolderNotEmptied);
  CHECK(KindOf(deletion, Command::kUninstall, {"3"}) == Kind::kUsual);
  CHECK(KindOf(deletion, Command::kUninstall, {"2"}) == Kind::kUsual);
  CHECK(KindOf(deletion, Command::kUninstall, {"5"}) == Kind::kProblem);
}

TEST_CASE("only what copies or deletes files waits for the restart") {
  for (int index = 0; index < kMessageCount; ++index) {
    const Message& message = kMessages[index];
    CAPTURE(std::string(message.text));
    for (const Command command : {Command::kEnable, Command::kDisable, Command::kStatus, Command::kReload}) {
      CHECK(message.kinds[static_cast<int>(command)] != Kind::kRestart);
    }
  }
}

TEST_CASE("two characters of a switch name the command") {
  CHECK(CommandOfSwitch("-I") == Command::kInstall);
  CHECK(CommandOfSwitch("-Install") == Command::kInstall);
  CHECK(CommandOfSwitch("-U") == Command::kUninstall);
  for (const char* const other : {"", "-", "-i", "-u", " -I", "I"}) {
    CHECK(CommandOfSwitch(other) == Command::kUnknown);
  }
}

TEST_CASE("each level has its prefix") {
  CHECK(PrefixOf(kInfo) == "LOG_INFO : ");
  CHECK(PrefixOf(kError) == "LOG_ERROR: ");
  CHECK(PrefixOf(kWarn) == "LOG_WARN : ");
  CHECK(PrefixOf(kEvent) == "LOG_EVENT :");
  CHECK(PrefixOf(kNoLevel).empty());
}

}  // namespace
