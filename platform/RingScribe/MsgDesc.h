#pragma once

#include <Ombra/Export.h>
#include <RingScribe/TraceFile.h>

#include <string>

// How a kind of message is described in a file, once, before the first message of the kind.
//
//     MsgDesc description{file, &msgId, __FILE__, __LINE__};
//     description.format().put("i"); // one per argument, in order
//     msgDesc(description, "XxxInterface", __func__, " Restored {} entries");
//     description.finish();
//
// The message number belongs to the place in the source: a static `int`, 0 at the start, that gets
// the process's next number at its first description and keeps it. Each file that the place writes
// to is given the description under the same number.
namespace RingScribe {

// The types of a message's arguments, as characters: 's' 16 bits, 'i' 32 bits, 'l' 64 bits, all
// unsigned.
class LOAM_EXPORT MsgFormatString {
  public:
    void put(char const* type) { types_ += type; }
    std::string const& types() const noexcept { return types_; }

  private:
    std::string types_;
};

class LOAM_EXPORT MsgDesc {
  public:
    // Keeps the pointers; `sourceFile` lives until `finish`.
    MsgDesc(TraceFile* file, int* msgId, char const* sourceFile, int line) noexcept
        : file_{file}, msgId_{msgId}, sourceFile_{sourceFile}, line_{line} {}

    MsgFormatString& format() noexcept { return format_; }

    // Numbers the message if it has no number yet, and puts the description into the file. Safe
    // from several threads at once for one message number, each with its own file.
    void finish();

  private:
    friend LOAM_EXPORT void msgDesc(MsgDesc& description, char const* className,
                                    char const* function, char const* text);

    TraceFile* file_;
    int* msgId_;
    char const* sourceFile_;
    int line_;
    char const* className_ = "";
    char const* function_ = "";
    char const* text_ = "";
    MsgFormatString format_;
};

// The strings live until `finish`.
LOAM_EXPORT void msgDesc(MsgDesc& description, char const* className, char const* function,
                         char const* text);

} // namespace RingScribe
