// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

#include "simcard/sim_reader.h"

#include "simcard/hex_text.h"
#include "simcard/pcsc_worker.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <string>

namespace {

// Sizes of the caller's buffers, in bytes.
constexpr std::size_t readerNameSize = 256;
constexpr std::size_t openResultSize = 256;

// A command without data (class, instruction, two parameters), and one with 255 bytes of data and a
// length of the expected response; two characters a byte.
constexpr int shortestCommand = 2 * 4;
constexpr int longestCommand = 2 * (5 + 255 + 1);

using Access = PcscWorker::Access;
using Bytes = std::vector<std::uint8_t>;

// Runs the body of one of the five functions. Its code as the callers see it: the 32 bits that
// PC/SC documents.
template <typename Body>
int guarded(Body&& body)
{
    LONG code = SCARD_S_SUCCESS;
    try {
        code = body();
    } catch (const std::exception&) {
        // No exception may leave a C function; only std::bad_alloc is thrown below.
        code = SCARD_E_NO_MEMORY;
    }
    return static_cast<int>(static_cast<std::uint32_t>(code));
}

LONG callWorker(Access access, PcscWorker::Job job)
{
    return PcscWorker::instance().call(access, std::move(job));
}

// `text` must leave room for the NUL.
void copyText(char* target, const std::string& text)
{
    std::memcpy(target, text.c_str(), text.size() + 1);
}

} // namespace

int OpenCardReader(int /*kind*/, const char* readerName, char* openResult)
{
    return guarded([&]() -> LONG {
        if (!readerName || !openResult)
            return SCARD_E_INVALID_PARAMETER;
        *openResult = '\0';
        const std::string wanted(readerName, strnlen(readerName, readerNameSize));
        const auto opened = std::make_shared<std::string>();
        const LONG code = callWorker(Access::open, [wanted, opened](PcscSession& session) {
            return session.open(wanted, *opened);
        });
        if (code == SCARD_S_SUCCESS)
            copyText(openResult, opened->substr(0, openResultSize - 1));
        return code;
    });
}

int CardPowerOn(unsigned char* atr)
{
    return guarded([&]() -> LONG {
        if (!atr)
            return SCARD_E_INVALID_PARAMETER;
        const auto answer = std::make_shared<Bytes>();
        const LONG code = callWorker(
            Access::use, [answer](PcscSession& session) { return session.powerOn(*answer); });
        if (code == SCARD_S_SUCCESS)
            std::copy(answer->begin(), answer->end(), atr);
        return code;
    });
}

int SendApduCommand(int length, const char* text, int* responseLength, char* response)
{
    return guarded([&]() -> LONG {
        if (!responseLength || !response)
            return SCARD_E_INVALID_PARAMETER;
        *responseLength = 0;
        *response = '\0';
        if (!text || length < shortestCommand || length > longestCommand)
            return SCARD_E_INVALID_PARAMETER;
        const auto command = bytesFromHex(text, static_cast<std::size_t>(length));
        if (!command)
            return SCARD_E_INVALID_PARAMETER;
        const auto answer = std::make_shared<Bytes>();
        const LONG code =
            callWorker(Access::use, [command = *command, answer](PcscSession& session) {
                return session.transmit(command, *answer);
            });
        if (code != SCARD_S_SUCCESS)
            return code;
        const std::string hex = hexFromBytes(*answer);
        copyText(response, hex);
        *responseLength = static_cast<int>(hex.size());
        return code;
    });
}

int CardPowerOff(void)
{
    return guarded([] {
        return callWorker(Access::use, [](PcscSession& session) { return session.powerOff(); });
    });
}

int CloseCardReader(void)
{
    return guarded([] {
        return callWorker(Access::close, [](PcscSession& session) { return session.close(); });
    });
}
