#include "tests/scenarios/ExpectedChanges.h"

#include <algorithm>
#include <set>

using TestSupport::ToUtf8;

namespace Expected {
namespace {

// Hives that World::WithUserHive made; they are empty but for their "Software" key.
constexpr wchar_t kTestUsers[] = L"S-1-5-21-1-2-3-";

// A path as the file differences tell it: below C:\VelaTest without that folder.
std::string ShownPath(const std::wstring& path) {
  const std::wstring root = std::wstring(World::kRoot) + L"\\";
  return ToUtf8(path.compare(0, root.size(), root) == 0 ? path.substr(root.size()) : path);
}

// Collects what was made: each entry with all folders that lead to it.
class MadeEntries {
 public:
  explicit MadeEntries(const std::wstring& base)
      : root_(base.compare(0, 12, L"C:\\VelaTest\\") == 0 ? 12 : std::wstring(kCommonBase).size()) {}

  void AddFolder(const std::wstring& folder) { AddFile(folder + L"\\"); }
  void AddFile(const std::wstring& file) {
    for (std::size_t end = file.find(L'\\', root_); end != std::wstring::npos; end = file.find(L'\\', end + 1)) {
      shown_.insert("+" + ShownPath(file.substr(0, end + 1)));
    }
    shown_.insert("+" + ShownPath(file));
  }
  Lines All() const { return {shown_.begin(), shown_.end()}; }

 private:
  std::size_t root_;  // length of what is there anyway
  std::set<std::string> shown_;
};

MadeEntries FoldersOf(OutlookExpress outlookExpress, const std::wstring& base) {
  MadeEntries made(base);
  for (const StagingStep& step : StagingSteps(outlookExpress, base)) {
    made.AddFolder(step.folder);
    if (!step.name.empty()) {
      made.AddFolder(step.folder + L"\\rule");
    }
  }
  return made;
}

Lines AddinKey(const std::string& root, int loadBehavior, bool hasOffice) {
  const std::string office = "+" + root + "\\Software\\Microsoft\\Office";
  const std::string addin = office + "\\Outlook\\Addins\\VELA_OLA.OLAgent [64]";
  return Joined(
      {hasOffice ? Lines{} : Lines{office + " [64]"},
       {office + "\\Outlook [64]", office + "\\Outlook\\Addins [64]", addin,
        addin + " \"LoadBehavior\" REG_DWORD " + std::to_string(loadBehavior),
        addin + " \"CommandLineSafe\" REG_DWORD 0", addin + " \"FriendlyName\" REG_SZ \"Orvane Labs Anti-Spam Addin\"",
        addin + " \"Description\" REG_SZ \"Orvane Labs Anti-Spam Agent for Outlook\""}});
}

}  // namespace

Lines Sorted(Lines lines) {
  std::sort(lines.begin(), lines.end());
  return lines;
}

Lines SettingsWritten(ProductKey before, std::optional<int> enabled, const std::wstring& base) {
  const std::string company = "+HKLM\\Software\\OrvaneLabs";
  const std::string key = company + "\\BastionNTCorp\\CurrentVersion\\VELA [32]";
  Lines lines = {key + " \"VELAInstallPath\" REG_SZ \"" + ToUtf8(base) + "\""};
  if (before == ProductKey::kMissing) {
    lines = Joined(
        {lines,
         {company + " [32]", company + "\\BastionNTCorp [32]", company + "\\BastionNTCorp\\CurrentVersion [32]", key}});
  }
  if (enabled) {
    lines.push_back(key + " \"VELAEnable\" REG_DWORD " + std::to_string(*enabled));
  }
  return lines;
}

Lines AddinKeysWritten(int loadBehavior, bool officeOfMachine) {
  Lines lines = AddinKey("HKLM", loadBehavior, officeOfMachine);
  for (const std::wstring& hive : TestSupport::SubkeyNames(TestSupport::UsersKey(L""))) {
    const std::string root = "HKU\\" + ToUtf8(hive);
    lines = Joined({lines, AddinKey(root, loadBehavior, false)});
    if (hive.compare(0, std::size(kTestUsers) - 1, kTestUsers) == 0) {
      lines.push_back("+" + root + "\\Software\\Microsoft [64]");
    }
  }
  return lines;
}

Lines PluginListed() {
  const std::string nektra = "+HKLM\\Software\\Nektra";
  return {nektra + " [64]", nektra + "\\WLMailAPi [64]", nektra + "\\WLMailAPi\\Plugins [64]",
          nektra + "\\WLMailAPi\\Plugins [64] \"WLMAilApiCppDllClient\" REG_SZ \"VELA_WLMA.dll\""};
}

Lines RegistryOfFreshInstall() {
  return Sorted(Joined({SettingsWritten(ProductKey::kMissing, 0), AddinKeysWritten(2), PluginListed()}));
}

Lines FilesMade(OutlookExpress outlookExpress, const std::wstring& base, const std::wstring& source) {
  MadeEntries made = FoldersOf(outlookExpress, base);
  for (const StagingStep& step : StagingSteps(outlookExpress, base, source)) {
    for (const Tree& tree : step.trees) {
      for (const std::wstring& folder : FoldersBelow(tree.from)) {
        made.AddFolder(tree.to + folder);
      }
      for (const std::wstring& file : FilesInCopyOrder(tree.from)) {
        made.AddFile(tree.to + file);
      }
    }
    if (!step.settings.empty()) {
      made.AddFile(step.folder + step.settings.substr(step.settings.rfind(L'\\')));
    }
  }
  return made.All();
}

Lines FoldersMade(OutlookExpress outlookExpress, const std::wstring& base) {
  return FoldersOf(outlookExpress, base).All();
}

Lines ModulesRegistered(OutlookExpress outlookExpress, const std::wstring& base) {
  const std::string folder = ToUtf8(base) + "VELA\\";
  const auto module = [&](const char* client, const char* name) {
    return std::string("+") + name + " " + folder + client + "\\" + name;
  };
  Lines lines = {module("VELA_OL", "Redemption.dll"),      module("VELA_OL", "VELA_OLA.dll"),
                 module("VELA_WLM", "WLMailApiInit.dll"),  module("VELA_WLM", "WLMailApiCom.dll"),
                 module("VELA_WLM", "WLMailApiStore.dll"), module("VELA_WLM", "WLMailApiContacts.dll")};
  if (outlookExpress == OutlookExpress::kStaged) {
    lines = Joined({lines,
                    {module("VELA_OE", "oeapiinitcom.dll"), module("VELA_OE", "oecom.dll"),
                     module("VELA_OE", "oestore.dll"), module("VELA_OE", "VELA_OEWab.dll")}});
  }
  return Sorted(lines);
}

}  // namespace Expected
