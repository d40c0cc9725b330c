// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// limit-log LINES SECONDS [PROGRAM [ARGUMENT...]]
//
// Limits repeated log lines. Replaces itself by PROGRAM (same process number), whose standard error
// goes through a second process; that passes at most LINES lines of a kind in SECONDS and reports
// how many it left out. Lines that differ in digits only are of one kind. Without PROGRAM it is the
// second process itself, from standard input to standard output.

#include <array>
#include <cctype>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <unistd.h>

namespace {

constexpr int longestPiece = 4096;    // bytes; a longer line is handled as several lines
constexpr std::size_t maxKinds = 500; // all further kinds are counted together

std::string kindOf(const std::string& line)
{
    std::string kind;
    for (const char character : line) {
        const bool isDigit = std::isdigit(static_cast<unsigned char>(character)) != 0;
        if (!isDigit || kind.empty() || kind.back() != '#')
            kind += isDigit ? '#' : character;
    }
    while (!kind.empty() && kind.back() == '\n')
        kind.pop_back();
    return kind;
}

class LineLimit
{
public:
    LineLimit(unsigned long lines, std::chrono::seconds window)
        : m_lines(lines)
        , m_window(window)
    {
    }

    void take(const std::string& line)
    {
        const Clock::time_point now = Clock::now();
        if (now - m_began >= m_window) {
            tellWhatIsLeftOut();
            m_seen.clear();
            m_began = now;
        }
        std::string kind = kindOf(line);
        if (m_seen.size() >= maxKinds && m_seen.count(kind) == 0)
            kind = "(others)";
        if (++m_seen[kind] <= m_lines)
            std::fputs(line.c_str(), stdout);
    }

    void tellWhatIsLeftOut() const
    {
        for (const auto& [kind, count] : m_seen)
            if (count > m_lines)
                std::printf("left out %lu more like: %s\n", count - m_lines, kind.c_str());
    }

private:
    using Clock = std::chrono::steady_clock;

    const unsigned long m_lines;
    const std::chrono::seconds m_window;
    Clock::time_point m_began = Clock::now();
    std::map<std::string, unsigned long> m_seen;
};

int filter(unsigned long lines, std::chrono::seconds window)
{
    // These signals go to the whole process group; the filter must outlive PROGRAM, whose last
    // lines may come after the signal.
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        std::signal(number, SIG_IGN);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    LineLimit limit(lines, window);
    std::array<char, longestPiece> piece{};
    while (std::fgets(piece.data(), longestPiece, stdin))
        limit.take(piece.data());
    limit.tellWhatIsLeftOut();
    return 0;
}

// Starts the filter process: from here on standard error is a pipe to it, and it writes to the
// former standard error.
bool interpose(char* arguments[])
{
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0)
        return false;
    const auto child = fork();
    if (child == 0) {
        dup2(ends[0], STDIN_FILENO);
        dup2(STDERR_FILENO, STDOUT_FILENO);
        // The pipe's ends, and the launcher's lock, which only PROGRAM may hold.
        closefrom(STDERR_FILENO + 1);
        arguments[3] = nullptr;
        execv("/proc/self/exe", arguments);
        _exit(EXIT_FAILURE);
    }
    if (child > 0)
        dup2(ends[1], STDERR_FILENO);
    close(ends[0]);
    close(ends[1]);
    return child > 0;
}

} // namespace

int main(int argc, char* argv[])
{
    const unsigned long lines = argc > 2 ? std::strtoul(argv[1], nullptr, 10) : 0;
    const unsigned long seconds = argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 0;
    if (lines == 0 || seconds == 0) {
        std::fputs("usage: limit-log LINES SECONDS [PROGRAM [ARGUMENT...]]\n", stderr);
        return EXIT_FAILURE;
    }
    if (argc == 3)
        return filter(lines, std::chrono::seconds(seconds));
    if (!interpose(argv))
        std::perror("limit-log");
    execvp(argv[3], argv + 3);
    std::perror(argv[3]);
    return EXIT_FAILURE;
}
