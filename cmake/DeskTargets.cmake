# SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
# SPDX-License-Identifier: MIT
#
# Settings of all targets (language level, warnings, output folders), and functions that define a library of the product
# or a test in one call.

set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
# RUNPATH and not RPATH, so that LD_LIBRARY_PATH can replace our SIM reader library by a maker's.
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN" "$ORIGIN/../lib/desk-terminal-service")

add_library(desk_options INTERFACE)
target_compile_features(desk_options INTERFACE cxx_std_17)
target_compile_definitions(
    desk_options
    INTERFACE QT_NO_KEYWORDS QT_NO_CAST_FROM_BYTEARRAY QT_DEPRECATED_WARNINGS
              QT_DISABLE_DEPRECATED_BEFORE=0x050F00)
target_compile_options(
    desk_options
    INTERFACE -Wall
              -Wextra
              -Wpedantic
              -Wconversion
              -Wsign-conversion
              -Wshadow
              -Wnon-virtual-dtor
              -Woverloaded-virtual
              -Wold-style-cast
              -Wcast-align
              -Wformat=2
              -Wundef
              # No fused multiply-add, with which arm64 would round pixels otherwise than amd64.
              -ffp-contract=off)
if(DESK_QT EQUAL 6)
    # Without warnings about functions that were deprecated later and whose replacements Qt 5 does not have.
    target_compile_definitions(desk_options INTERFACE QT_WARN_DEPRECATED_UP_TO=0x060100)
endif()
target_compile_definitions(desk_options INTERFACE _FILE_OFFSET_BITS=64) # of 32-bit systems
target_include_directories(desk_options INTERFACE "${CMAKE_SOURCE_DIR}")
# Hardening options as in distributions' packages; _FORTIFY_SOURCE needs optimisation.
target_compile_options(
    desk_options INTERFACE $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2 -fstack-protector-strong
                           -fstack-clash-protection>)
target_link_options(desk_options INTERFACE -Wl,--enable-new-dtags -Wl,-z,relro -Wl,-z,now -Wl,--as-needed)
set(CMAKE_CXX_EXTENSIONS OFF)

# Set by the preset "tidy", for the product's targets only.
option(DESK_CLANG_TIDY "Run clang-tidy on the product while compiling" OFF)

function(desk_product_target target)
    target_link_libraries(${target} PRIVATE desk_options)
    set_target_properties(${target} PROPERTIES AUTOMOC ON AUTOUIC ON)
    if(DESK_CLANG_TIDY)
        set_target_properties(${target} PROPERTIES CXX_CLANG_TIDY "clang-tidy-19;--quiet")
    endif()
endfunction()

# desk_add_library(<name> SOURCES ... LIBRARIES ...): a static library of the product or of the virtual desk.
function(desk_add_library name)
    cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES" ${ARGN})
    add_library(${name} STATIC ${arg_SOURCES})
    desk_product_target(${name})
    target_link_libraries(${name} PUBLIC ${arg_LIBRARIES})
endfunction()

# desk_add_test(<name> SOURCES ... LIBRARIES ... [LOCKS ...] [LABELS ...] [TIMEOUT s] [DEVICES]): one Qt Test program, run
# in its own sandbox (network, PC/SC socket, working directory and X display; see tests/sandbox).
# LOCKS: resources that two tests must not use at the same time, for instance the fixed files in /tmp.
# LABELS threads: `./run sanitize` repeats the test under ThreadSanitizer.
# DEVICES: the test creates a virtual desk (virtual/kernel/virtual_kernel.h) and needs umockdev's preload library.
function(desk_add_test name)
    cmake_parse_arguments(arg "DEVICES" "TIMEOUT" "SOURCES;LIBRARIES;LOCKS;LABELS" ${ARGN})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    if(CMAKE_CROSSCOMPILING)
        math(EXPR arg_TIMEOUT "5 * ${arg_TIMEOUT}") # emulated
    endif()
    add_executable(${name} ${arg_SOURCES})
    set_target_properties(${name} PROPERTIES AUTOMOC ON AUTOUIC ON)
    target_link_libraries(${name} PRIVATE desk_options ${arg_LIBRARIES} Qt::Test)
    target_compile_definitions(${name} PRIVATE DESK_BIN_DIR="${CMAKE_BINARY_DIR}/bin"
                                               DESK_SOURCE_DIR="${CMAKE_SOURCE_DIR}")
    add_test(NAME ${name} COMMAND "${CMAKE_SOURCE_DIR}/tests/sandbox" $<TARGET_FILE:${name}>)
    set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} RESOURCE_LOCK "${arg_LOCKS}"
                                             LABELS "${arg_LABELS}")
    if(arg_DEVICES)
        set_tests_properties(${name} PROPERTIES ENVIRONMENT DESK_DEVICES=1)
    endif()
endfunction()
