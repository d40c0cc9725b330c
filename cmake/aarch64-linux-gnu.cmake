# SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
# SPDX-License-Identifier: MIT
#
# Toolchain for arm64 (AArch64) on another Debian machine, with Debian's cross compiler and multiarch libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
