#include "logreader/Log.h"

#include <utility>
#include <vector>

#include "logreader/Encoding.h"
#include "logreader/Entries.h"
#include "logreader/Verdict.h"

namespace LogReader {

void ReadRuns(std::istream& log, const RunSink& sink) {
  Judge judge;
  RunReader runs([&](Run&& passed) {
    Run run = std::move(passed);
    const Verdict verdict = judge.Take(run);
    sink(run, verdict);
  });
  EntryReader entries([&](Entry&& entry) { runs.Take(std::move(entry)); });
  ByteRestorer bytes;
  std::vector<char> part(64U * 1024);
  while (log) {
    log.read(part.data(), static_cast<std::streamsize>(part.size()));
    entries.Feed(bytes.Restore({part.data(), static_cast<std::size_t>(log.gcount())}));
  }
  entries.Feed(bytes.Finish());
  entries.Finish();
  runs.Finish();
}

Verdict JudgeLast(std::istream& log) {
  Verdict last;
  last.sentence = "There is no run in this log.";
  ReadRuns(log, [&](Run&, const Verdict& verdict) { last = verdict; });
  return last;
}

}  // namespace LogReader
