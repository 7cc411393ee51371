// VELAlog [options] [file]
//
// Reads a run log of VELAutil.exe and says what happened. The exit code is that of the last run's outcome.
#include <windows.h>

#include <deque>
#include <exception>
#include <istream>
#include <limits>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Common/OrCommon/OrComn_ProcessGuards.h"
#include "logreader/Console.h"
#include "logreader/Log.h"
#include "logreader/Report.h"

#if defined(__MINGW32__)
// The runtime of mingw-w64 would expand wildcards in the arguments.
extern "C" {
extern int _dowildcard;  // declared here because no header of the runtime does
int _dowildcard = 0;
}
#endif

int wmain(int count, wchar_t* arguments[]);  // the runtime's entry point for wide arguments

namespace {

using LogReader::Color;
using LogReader::Outcome;
using LogReader::Run;
using LogReader::Stream;
using LogReader::Verdict;

constexpr char kVersion[] = VELA_VERSION;
constexpr int kUsageError = 2;
constexpr int kMostRuns = 1000;

struct Options {
  std::string file;
  std::string command;  // its plain name; empty: any
  int runs = 1;
  bool all = false;
  bool json = false;
  bool lines = false;
};

std::wstring DefaultLog() {
  wchar_t windows[MAX_PATH] = {};
  const UINT length = ::GetWindowsDirectoryW(windows, MAX_PATH);
  return std::wstring(windows, length < MAX_PATH ? length : 0) + L"\\Temp\\QRTX_Debug\\vela.log";
}

// The options, or the exit code if there is nothing to read.
int Parse(const std::vector<std::string>& arguments, Options& options, const Stream& output, const Stream& errors) {
  CLI::App app("Reads a run log of VELAutil.exe and says what happened.", "VELAlog.exe");
  app.set_help_flag("-h,-?,--help", "Print this help and exit");
  app.set_version_flag("--version", std::string("VELAlog ") + kVersion, "Print the version and exit");
  app.add_option("file", options.file, "The log. Without it: %WINDIR%\\Temp\\QRTX_Debug\\vela.log");
  std::vector<std::string> commands;
  for (const LogReader::CommandName& name : LogReader::kCommandNames) {
    commands.emplace_back(name.plain);
  }
  app.add_option("--command", options.command, "Only runs of this command")->check(CLI::IsMember(commands));
  CLI::Option* const runs =
      app.add_option("--runs", options.runs, "How many of the last runs to show (1)")->check(CLI::Range(1, kMostRuns));
  app.add_flag("--all", options.all, "Show all runs")->excludes(runs);
  app.add_flag("--json", options.json, "Print JSON, for other programs");
  app.add_flag("--lines", options.lines, "Also show every line with its meaning");
  app.footer(
      "Exit code, by the last of these runs:\n"
      "  0     done\n"
      "  3010  done, but the machine must be restarted\n"
      "  1     not done, done in part, or not finished\n"
      "  2     there is no such log or no such run in it, or the command line is wrong");
  std::vector<const char*> pointers;
  for (const std::string& argument : arguments) {
    pointers.push_back(argument.c_str());
  }
  try {
    app.parse(static_cast<int>(pointers.size()), pointers.data());
    return -1;
  } catch (const CLI::CallForHelp&) {
    output.Write(app.help());
    return 0;
  } catch (const CLI::CallForVersion& version) {
    output.Write(std::string(version.what()) + "\n");
    return 0;
  } catch (const CLI::ParseError& error) {
    errors.Write(std::string("VELAlog: ") + error.what() + "\nVELAlog --help shows the options.\n");
    return kUsageError;
  }
}

// The last runs of a log, or each one as it comes.
class Printer {
 public:
  Printer(const Options& options, const std::string& log, const Stream& output)
      : options_(options),
        write_([&output](std::string_view text, Color color) { output.Write(text, color); }),
        json_(
            options.json ? write_ : [](std::string_view, Color) {}, log, kVersion) {}

  void Take(Run& run, const Verdict& verdict) {
    if (!options_.command.empty() && options_.command != LogReader::CommandOf(run)) {
      return;
    }
    last_ = verdict.outcome;
    if (options_.all) {
      Print(run, verdict);
      return;
    }
    kept_.emplace_back(std::move(run), verdict);
    if (kept_.size() > static_cast<std::size_t>(options_.runs)) {
      kept_.pop_front();
    }
  }

  void End(const std::string& error) {
    for (const auto& [run, verdict] : kept_) {
      Print(run, verdict);
    }
    json_.End(last_, error);
  }

  Outcome Last() const { return last_; }

 private:
  void Print(const Run& run, const Verdict& verdict) {
    if (options_.json) {
      json_.Add(run, verdict, options_.lines);
      return;
    }
    write_(isFirst_ ? "" : "\n", Color::kPlain);
    LogReader::WriteRun(run, verdict, options_.lines, write_);
    isFirst_ = false;
  }

  const Options& options_;
  LogReader::Writer write_;
  LogReader::JsonReport json_;
  std::deque<std::pair<Run, Verdict>> kept_;
  Outcome last_ = Outcome::kNoRun;
  bool isFirst_ = true;
};

std::string ErrorOf(const std::string& log, DWORD code, const std::string& command, Outcome last) {
  if (code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND) {
    return "there is no log " + log;
  }
  if (code != ERROR_SUCCESS) {
    return log + " cannot be read: error " + std::to_string(code) + " of Windows (net helpmsg " + std::to_string(code) +
           ")";
  }
  const std::string program = command.empty() ? "VELAutil.exe" : "the command " + command;
  return last == Outcome::kNoRun ? "there is no run of " + program + " in " + log : std::string();
}

int Read(const Options& options, const Stream& output, const Stream& errors) {
  const std::wstring path = options.file.empty() ? DefaultLog() : LogReader::ToWide(options.file);
  const std::string log = LogReader::ToNarrow(path);
  LogReader::FileBytes bytes(path);
  std::istream stream(&bytes);
  Printer printer(options, log, output);
  LogReader::ReadRuns(stream, [&](Run& run, const Verdict& verdict) { printer.Take(run, verdict); });
  const std::string error = ErrorOf(log, bytes.Error(), options.command, printer.Last());
  printer.End(error);
  if (!error.empty()) {
    errors.Write("VELAlog: " + error + "\n");
    return LogReader::ExitCodeOf(Outcome::kNoRun);
  }
  return LogReader::ExitCodeOf(printer.Last());
}

}  // namespace

int wmain(int count, wchar_t* arguments[]) {
  OrCommon::GuardProcess();
  const Stream output(STD_OUTPUT_HANDLE);
  const Stream errors(STD_ERROR_HANDLE);
  try {
    std::vector<std::string> texts;
    for (int index = 0; index < count; ++index) {
      texts.push_back(LogReader::ToNarrow(arguments[index]));
    }
    Options options;
    const int code = Parse(texts, options, output, errors);
    return code >= 0 ? code : Read(options, output, errors);
  } catch (const std::exception& error) {
    errors.Write(std::string("VELAlog: ") + error.what() + "\n");
    return LogReader::ExitCodeOf(Outcome::kNoRun);
  }
}
