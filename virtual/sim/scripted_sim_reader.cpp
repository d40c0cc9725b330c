// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT
//
// A libcardreader.so for failures that a real reader does not produce on demand. LD_LIBRARY_PATH
// puts it in front of the product's.
//
// DESK_CARD_SCRIPT names a file of lines "<function> <code in hex> [answer in hex]". Each call
// takes the next line of its function; a call without a line succeeds. DESK_CARD_RECORD names the
// file to which each call is appended with what it was given.
//
// Like a library that keeps the buffers of a command, it looks at all of them again in every later
// call up to the next opening, and writes into them. The record tells of one that has changed
// since.

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
    std::ifstream script(path != nullptr ? path : "");
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

/// What the library has been given since the opening, as it left it. Never read between calls.
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

/// \return what the record says of buffers that the service no longer keeps as they were left
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
    // An answer that fills the buffer has no end.
    std::memcpy(response, step.answer.c_str(), std::min(step.answer.size() + 1, bufferSize));
    keep(responseLength, sizeof(*responseLength));
    keep(response, bufferSize - 1); // the last byte may be the service's end of the text
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
