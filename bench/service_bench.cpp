// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// The service beside a bare Qt WebSockets server in the same run: latency, reply sizes, bursts of
// connects, start-up, idle memory. Ratios are what counts; times depend on the machine.

#include "bench/frame_client.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <limits>
#include <sched.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Kind = FrameClient::Kind;

constexpr std::uint16_t servicePort = 12343;
constexpr std::uint16_t barePort = 12344;
const std::string servicePath = DESK_BIN_DIR "/desk-terminal-service";
const std::string barePath = DESK_BIN_DIR "/bare_server";

double microseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::micro>(duration).count();
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// A server process whose diagnostics go nowhere.
class Server
{
public:
    Server(const std::string& path, std::uint16_t port)
    {
        const Clock::time_point start = Clock::now();
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        std::string name = path;
        char* arguments[] = {name.data(), nullptr};
        posix_spawn(&m_process, path.c_str(), &actions, nullptr, arguments, environ);
        posix_spawn_file_actions_destroy(&actions);
        while (!FrameClient(port).isOpen())
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        m_startMicroseconds = microseconds(Clock::now() - start);
    }

    ~Server()
    {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    double startMicroseconds() const { return m_startMicroseconds; }

    // Private memory: what this process costs the machine.
    double privateKiB() const
    {
        std::ifstream file("/proc/" + std::to_string(m_process) + "/smaps_rollup");
        double total = 0;
        for (std::string key; file >> key;) {
            double value = 0;
            if ((key == "Private_Clean:" || key == "Private_Dirty:") && file >> value)
                total += value;
        }
        return total;
    }

private:
    pid_t m_process = 0;
    double m_startMicroseconds = 0;
};

void printHeader(const char* what, const char* unit)
{
    std::printf("\n%-34s %12s %12s %8s %8s\n", what, (std::string("bare ") + unit).c_str(),
                (std::string("service ") + unit).c_str(), "ratio", "aim");
}

void printRow(const std::string& name, double bare, double service, double aim)
{
    std::printf("%-34s %12.1f %12.1f %8.2f %8.2f\n", name.c_str(), bare, service, service / bare,
                aim);
    std::fflush(stdout);
}

double exchangeMicroseconds(FrameClient& client, Kind kind, const std::string& payload)
{
    const Clock::time_point start = Clock::now();
    client.exchange(kind, payload);
    return microseconds(Clock::now() - start);
}

// Takes both in turn, so that whatever else the machine does meets both alike.
void compareLatency(const std::string& name, Kind kind, const std::string& bareRequest,
                    const std::string& request, double aim)
{
    constexpr int rounds = 4000;
    FrameClient bare(barePort);
    FrameClient service(servicePort);
    std::vector<double> bareTimes;
    std::vector<double> serviceTimes;
    for (int i = 0; i < rounds; ++i) {
        bareTimes.push_back(exchangeMicroseconds(bare, kind, bareRequest));
        serviceTimes.push_back(exchangeMicroseconds(service, kind, request));
    }
    printRow(name, median(bareTimes), median(serviceTimes), aim);
}

void sweepReplySizes()
{
    constexpr int rounds = 60;
    std::printf("\n%-34s %12s %12s\n", "reply size (bytes)", "median us", "worst us");
    FrameClient service(servicePort);
    for (std::size_t size = 1024; size <= 256 * 1024; size += std::max<std::size_t>(size / 4, 1)) {
        const std::string text(size, 'x');
        std::vector<double> times;
        for (int i = 0; i < rounds; ++i)
            times.push_back(exchangeMicroseconds(service, Kind::text, text));
        std::printf("%-34zu %12.1f %12.1f\n", size, median(times),
                    *std::max_element(times.begin(), times.end()));
    }
}

double burstMicroseconds(std::uint16_t port)
{
    constexpr int count = 200;
    const Clock::time_point start = Clock::now();
    std::vector<std::thread> clients;
    clients.reserve(count);
    for (int i = 0; i < count; ++i)
        clients.emplace_back([port] { FrameClient(port).exchange(Kind::text, "x"); });
    for (std::thread& client : clients)
        client.join();
    return microseconds(Clock::now() - start);
}

void compareStarts()
{
    constexpr int rounds = 7;
    std::vector<double> bareStarts;
    std::vector<double> serviceStarts;
    std::vector<double> bareMemory;
    std::vector<double> serviceMemory;
    for (int i = 0; i < rounds; ++i) {
        const Server bare(barePath, barePort);
        const Server service(servicePath, servicePort);
        bareStarts.push_back(bare.startMicroseconds());
        serviceStarts.push_back(service.startMicroseconds());
        bareMemory.push_back(bare.privateKiB());
        serviceMemory.push_back(service.privateKiB());
    }
    printHeader("process", "");
    printRow("start, exec to port open (us)", median(bareStarts), median(serviceStarts), 1.3);
    printRow("idle memory, private (KiB)", median(bareMemory), median(serviceMemory), 1.3);
}

double startMicroseconds()
{
    return Server(servicePath, servicePort).startMicroseconds();
}

// Without settings and with those of a counter, in turn. The fastest counts: whatever else the
// machine does makes single starts slower by more than the two differ.
void compareSettings()
{
    constexpr int rounds = 60;
    std::ofstream("settings.conf") << "listen=loopback\norigins=programs\nprivacy=60\n";
    double withoutSettings = std::numeric_limits<double>::max();
    double withSettings = std::numeric_limits<double>::max();
    for (int i = 0; i < rounds; ++i) {
        setenv("DESK_TERMINAL_SETTINGS", "settings.conf", 1);
        withSettings = std::min(withSettings, startMicroseconds());
        unsetenv("DESK_TERMINAL_SETTINGS");
        withoutSettings = std::min(withoutSettings, startMicroseconds());
    }
    std::printf("\n%-34s %12s %12s %8s %8s\n", "settings file", "without us", "with us", "ratio",
                "aim");
    printRow("start and first connection", withoutSettings, withSettings, 1.05);
}

void runOnOneCore()
{
    cpu_set_t core;
    CPU_ZERO(&core);
    CPU_SET(0, &core);
    sched_setaffinity(0, sizeof core, &core);
}

} // namespace

int main()
{
    compareStarts();
    compareSettings();
    runOnOneCore();
    const Server bare(barePath, barePort);
    const Server service(servicePath, servicePort);
    const std::string hundred(100, 'x');
    const std::string unknown =
        R"({"function":"nothing","padding":")" + std::string(65, 'x') + "\"}";
    const std::string command = R"({"function":"ZCOutputImageBase64AB"})";
    printHeader("latency, median of one exchange", "us");
    compareLatency("binary echo, 100 B", Kind::binary, hundred, hundred, 1.1);
    compareLatency("unknown command, 100 B", Kind::text, unknown, unknown, 1.3);
    compareLatency("command with its JSON reply", Kind::text, hundred, command, 1.5);
    printRow("200 connects at once", burstMicroseconds(barePort), burstMicroseconds(servicePort),
             1);
    sweepReplySizes();
    return 0;
}
