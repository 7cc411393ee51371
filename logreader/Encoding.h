// Texts in the encodings that a reader of the log meets.
#pragma once

#include <string>
#include <string_view>

namespace LogReader {

// Text of the log (Latin-1) as UTF-8.
std::string ToUtf8(std::string_view latin1);

// The same for people: a control character is shown as "\x07", because a console would act on it.
std::string ToPrintable(std::string_view latin1);

// Back to the bytes that the program wrote, for a log that another program saved with a mark at its beginning: as
// UTF-16 (PowerShell does, with ">") or as UTF-8. Without a mark the bytes stay as they are. A character that the log
// cannot have becomes "?".
class ByteRestorer {
 public:
  // The bytes that are complete with this part. The result does not depend on the sizes of the parts.
  std::string Restore(std::string_view part);
  // What is left at the end.
  std::string Finish();

 private:
  enum class Form { kUndecided, kBytes, kUtf16Little, kUtf16Big, kUtf8 };

  void Decide(bool isEnd);

  Form form_ = Form::kUndecided;
  std::string pending_;
};

}  // namespace LogReader
