# Toolchain of a 32-bit x86 build on a 64-bit Debian: the machine's own g++ with -m32, and the i386
# packages of what we link ([words32] of packages.txt). Programs run as they are, so this is no cross
# build.
set(CMAKE_CXX_FLAGS_INIT -m32)
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
