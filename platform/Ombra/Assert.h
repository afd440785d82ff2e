#pragma once

#include <cassert>

// A broken invariant stops the process, in every build, with the text of the invariant.
//
// The text is written out and not made from the expression, since it is part of what operators and
// tools know the failure by and must not change when the code around it is renamed or formatted.
// For an invariant that explains itself with a message, see Zet/SassertHelper.h.
#define OMBRA_ASSERT(condition, text)                                                              \
    (static_cast<bool>(condition)                                                                  \
         ? static_cast<void>(0)                                                                    \
         : __assert_fail(text, __FILE__, __LINE__, static_cast<char const*>(__func__)))

#ifdef NDEBUG
// <assert.h> declares it only without NDEBUG; the C library has it always.
extern "C" [[noreturn]] void __assert_fail(char const* assertion, char const* file,
                                           unsigned int line, char const* function) noexcept;
#endif
