// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// A libcardreader.so for failures that a real reader does not produce on demand. LD_LIBRARY_PATH
// puts it in front of the product's.
//
// DESK_CARD_SCRIPT names a file of lines "<function> <code in hex> [answer in hex]". Each call
// uses the next line of its function; a call without a line succeeds. DESK_CARD_RECORD names the
// file to which each call is appended with its arguments.
//
// It keeps the addresses of all buffers that it got since the opening, as some makers' libraries
// do, and in every call compares them with the content that it left there and writes that again.
// The record notes a buffer that was changed in between.

#include "simcard/sim_reader.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

namespace {

constexpr std::size_t nameSize = 256;
constexpr std::size_t bufferSize = 1024;

struct Step
{
    int code = 0;
    std::string answer;
};

Step nextStep(const std::string& function)
{
    static std::map<std::string, int> calls;
    int skip = calls[function]++;
    const char* path = std::getenv("DESK_CARD_SCRIPT");
    std::ifstream script(path ? path : "");
    for (std::string line; std::getline(script, line);) {
        std::istringstream fields(line);
        std::string name;
        unsigned code = 0;
        Step step;
        if (!(fields >> name >> std::hex >> code) || name != function || skip-- > 0)
            continue;
        fields >> step.answer;
        step.code = static_cast<int>(code);
        return step;
    }
    return {};
}

// The buffers that calls have passed since the opening, with the content that the library left.
std::map<char*, std::string>& keptBuffers()
{
    static std::map<char*, std::string> buffers;
    return buffers;
}

void keep(void* buffer, std::size_t size)
{
    auto* const bytes = static_cast<char*>(buffer);
    keptBuffers()[bytes] = std::string(bytes, size);
}

// Compares all kept buffers and writes their content again.
// \return the remark for the record when the service has changed one of them
std::string writeLate()
{
    std::string remark;
    for (const auto& [buffer, content] : keptBuffers()) {
        if (std::memcmp(buffer, content.data(), content.size()) != 0)
            remark = " after losing a buffer";
        std::memcpy(buffer, content.data(), content.size());
    }
    return remark;
}

void record(const std::string& call)
{
    const std::string line = call + writeLate();
    if (const char* path = std::getenv("DESK_CARD_RECORD"))
        std::ofstream(path, std::ios::app) << line << '\n';
}

template <typename Byte>
const char* content(const Byte* buffer, std::size_t size)
{
    return std::all_of(buffer, buffer + size, [](Byte byte) { return byte == 0; }) ? "zero"
                                                                                   : "used";
}

} // namespace

int OpenCardReader(int kind, const char* readerName, char* openResult)
{
    keptBuffers().clear();
    const std::size_t length = strnlen(readerName, nameSize);
    record("OpenCardReader " + std::to_string(kind) + " \"" + std::string(readerName, length) +
           "\" tail " + content(readerName + length, nameSize - length));
    std::memset(openResult, 'r', nameSize);
    keep(openResult, nameSize);
    keep(const_cast<char*>(readerName), nameSize);
    return nextStep("OpenCardReader").code;
}

int CardPowerOn(unsigned char* atr)
{
    record(std::string("CardPowerOn buffer ") + content(atr, bufferSize));
    const Step step = nextStep("CardPowerOn");
    for (std::size_t i = 0; i + 1 < step.answer.size(); i += 2)
        atr[i / 2] = static_cast<unsigned char>(std::stoul(step.answer.substr(i, 2), nullptr, 16));
    keep(atr, bufferSize);
    return step.code;
}

int SendApduCommand(int length, const char* text, int* responseLength, char* response)
{
    record("SendApduCommand " + std::to_string(length) + ' ' + text + " buffer " +
           content(response, bufferSize));
    const Step step = nextStep("SendApduCommand");
    *responseLength = static_cast<int>(step.answer.size());
    // An answer that fills the buffer is not NUL-terminated.
    std::memcpy(response, step.answer.c_str(), std::min(step.answer.size() + 1, bufferSize));
    keep(responseLength, sizeof(*responseLength));
    keep(response, bufferSize - 1); // the service may write a terminating zero to the last byte
    return step.code;
}

int CardPowerOff(void)
{
    record("CardPowerOff");
    return nextStep("CardPowerOff").code;
}

int CloseCardReader(void)
{
    record("CloseCardReader");
    return nextStep("CloseCardReader").code;
}
