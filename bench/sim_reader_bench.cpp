// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The reading of a SIM card's number through the SIM reader library, beside the same PC/SC calls
// made directly: what the library's own thread and the hexadecimal text cost.

#include "simcard/iccid.h"
#include "simcard/sim_reader.h"
#include "virtual/sim/pcsc_daemon.h"
#include "virtual/sim/sim_card.h"

#include <winscard.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

using namespace virtual_desk;

namespace {

constexpr int rounds = 50;
constexpr const char* commands[] = {selectMasterFileCommand, selectIccidFileCommand,
                                    readIccidCommand};

bool readThroughLibrary()
{
    std::array<char, 256> name{};
    std::array<char, 256> result{};
    std::copy(std::begin(simReaderName), std::end(simReaderName), name.begin());
    std::array<unsigned char, 1024> atr{};
    std::array<char, 1024> response{};
    int length = 0;
    bool done = OpenCardReader(1, name.data(), result.data()) == 0 && CardPowerOn(atr.data()) == 0;
    for (const char* command : commands)
        done = done && SendApduCommand(static_cast<int>(std::strlen(command)), command, &length,
                                       response.data()) == 0;
    done = done && CardPowerOff() == 0;
    return CloseCardReader() == 0 && done;
}

bool readDirectly()
{
    SCARDCONTEXT context = 0;
    SCARDHANDLE card = 0;
    DWORD protocol = 0;
    std::array<char, 2048> names{};
    DWORD length = names.size();
    if (SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context) != SCARD_S_SUCCESS)
        return false;
    bool done = SCardListReaders(context, nullptr, names.data(), &length) == SCARD_S_SUCCESS &&
                SCardConnect(context, names.data(), SCARD_SHARE_SHARED, SCARD_PROTOCOL_T0, &card,
                             &protocol) == SCARD_S_SUCCESS &&
                SCardBeginTransaction(card) == SCARD_S_SUCCESS;
    for (const char* command : commands) {
        const QByteArray bytes = QByteArray::fromHex(command);
        std::array<BYTE, 258> response{};
        length = response.size();
        done = done &&
               SCardTransmit(card, SCARD_PCI_T0, reinterpret_cast<const BYTE*>(bytes.constData()),
                             static_cast<DWORD>(bytes.size()), nullptr, response.data(),
                             &length) == SCARD_S_SUCCESS;
    }
    done = done && SCardDisconnect(card, SCARD_UNPOWER_CARD) == SCARD_S_SUCCESS;
    return SCardReleaseContext(context) == SCARD_S_SUCCESS && done;
}

double millisecondsOf(bool (*read)(), bool& done)
{
    const auto start = std::chrono::steady_clock::now();
    done = read() && done;
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

double median(std::vector<double>& times)
{
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

} // namespace

int main()
{
    PcscDaemon daemon;
    VirtualSimCard card;
    if (!daemon.start() || !card.insert()) {
        std::fprintf(stderr, "no virtual card reader:\n%s\n", qPrintable(daemon.log()));
        return 1;
    }
    bool done = readThroughLibrary() && readDirectly();
    std::vector<double> library;
    std::vector<double> direct;
    for (int i = 0; i < rounds; ++i) { // in turn, so that a busy machine slows both
        library.push_back(millisecondsOf(readThroughLibrary, done));
        direct.push_back(millisecondsOf(readDirectly, done));
    }
    if (!done) {
        std::fprintf(stderr, "a read failed\n");
        return 1;
    }
    std::printf("%-38s %10s %10s %7s\n", "median of 50 reads", "library", "PC/SC", "ratio");
    std::printf("%-38s %7.2f ms %7.2f ms %7.2f\n", "SIM card, open to close", median(library),
                median(direct), median(library) / median(direct));
    return 0;
}
