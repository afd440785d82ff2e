# Flags of our own build. A client that links our installed targets gets none of them.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)

# An installed program finds the libraries beside it, wherever the tree is put.
set(CMAKE_INSTALL_RPATH $ORIGIN $ORIGIN/../${CMAKE_INSTALL_LIBDIR})

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release)
endif()

set(LOAM_SANITIZE "" CACHE STRING "Sanitizers of this build, as -fsanitize takes them")

add_library(loam_build_flags INTERFACE)
target_compile_options(
    loam_build_flags
    INTERFACE -Wall -Wextra -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual -Werror
              # Nobody replaces single functions of our libraries: those of a unit call each other
              # directly, and the small ones are inlined.
              -fno-semantic-interposition
              $<$<NOT:$<CONFIG:Release>>:-fno-omit-frame-pointer>)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # To clang, an 8-byte field of a 32-bit record is not aligned well enough for one access; it
        # calls a library instead, whose locks other processes don't know.
        message(FATAL_ERROR "A 32-bit build needs g++, and this is ${CMAKE_CXX_COMPILER_ID}")
    endif()
    # Files of any size, times behind January 2038 (in 32 bits no file of a later time is opened), and
    # 8-byte words of shared memory in one access each (Slate/Shared.h).
    target_compile_definitions(loam_build_flags INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
    target_compile_options(loam_build_flags INTERFACE -msse2 -mfpmath=sse)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # At -O3, gcc 12 warns of `"text" + std::string{}` in the standard library itself (its bug 105651).
    target_compile_options(loam_build_flags INTERFACE $<$<CONFIG:Release>:-Wno-restrict>)
endif()
if(LOAM_SANITIZE)
    # With its null checks, the compiler takes no comparison of two addresses for constant, and the
    # tables of the inspection modules are made of such. A null pointer that is used is found all the
    # same: by the address sanitizer.
    target_compile_options(
        loam_build_flags
        INTERFACE -fsanitize=${LOAM_SANITIZE} -fno-sanitize-recover=all
                  -fno-sanitize=null,nonnull-attribute,returns-nonnull-attribute)
    target_link_options(loam_build_flags INTERFACE -fsanitize=${LOAM_SANITIZE})
    if(LOAM_SANITIZE STREQUAL "thread")
        # What readers look at is read word by word, each an atomic (platform/Slate/BucketScan.cpp).
        target_compile_definitions(loam_build_flags INTERFACE SLATE_WORD_BY_WORD)
        if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
            # The compiler warns that the sanitizer knows no fences: it may see a race where a fence
            # orders, and misses none. What fences order here are atomic words, which never race.
            target_compile_options(loam_build_flags INTERFACE -Wno-tsan)
        endif()
    endif()
endif()
