#pragma once

#include <cstddef>
#include <cstdint>

// What is known about a message of the structured log before it is ever raised.
//
// A record of six machine words. A library keeps all its descriptors in the section
// `.ostrel_logmsg`, so that a tool lists the messages of a library by reading the file, without
// running it:
//
// | word | field         | content                                                        |
// |------|---------------|----------------------------------------------------------------|
// | 0    | `name`        | pointer to the message's name, as operators filter by it        |
// | 1    | `format`      | pointer to the text, with one "%s" where the caller's text goes |
// | 2    | `explanation` | pointer to what the message means                               |
// | 3    | `marker`      | pointer to a string of the one byte 0x01                        |
// | 4    | `severity`    | as in syslog: 0 emergency to 7 debug                            |
// | 5    | `lastWord`    | 0                                                               |
namespace Zet {

struct LogDescriptor {
    char const* name;
    char const* format;
    char const* explanation;
    char const* marker;
    std::uintptr_t severity;
    std::uintptr_t lastWord;
};

static_assert(sizeof(LogDescriptor) == 6 * sizeof(void*));
static_assert(offsetof(LogDescriptor, format) == sizeof(void*));
static_assert(offsetof(LogDescriptor, explanation) == 2 * sizeof(void*));
static_assert(offsetof(LogDescriptor, marker) == 3 * sizeof(void*));
static_assert(offsetof(LogDescriptor, severity) == 4 * sizeof(void*));
static_assert(offsetof(LogDescriptor, lastWord) == 5 * sizeof(void*));

} // namespace Zet
