// Puts simulated drives, optical ones and disks, behind the kernel: each is answered for here, command by
// command, and the kernel takes it for a drive of its own.

#include <chrono>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <thread>
#include <vector>

#include "CommandRing.h"
#include "TargetHost.h"
#include "libDrive2/DeviceOpeners.h"
#include "zel/Clock.h"

namespace lab {

namespace {

/// Runs faster than the system's: what takes a drive a minute is over in a second.
class FastClock : public zel::Clock {
public:
    explicit FastClock(int factor) : m_factor(factor) {}
    Duration now() override { return m_factor * std::chrono::steady_clock::now().time_since_epoch(); }
    void sleep(Duration duration) override { std::this_thread::sleep_for(duration / m_factor); }

private:
    int m_factor;
};

[[noreturn]] void end(const std::string& reason) {
    std::cerr << "optical_target: " << reason << std::endl;
    std::_Exit(EXIT_FAILURE);  // other threads wait for commands
}

[[noreturn]] void play(const libDrive2::SharedScsiPassThrough& drive, const TargetHost::Place& place) try {
    CommandRing(place.node, place.bytes).serve([&](const libDrive2::ScsiRequest& request) {
        return drive->execute(request);
    });
} catch (const std::exception& error) {
    end(place.node + ": " + error.what());
}

/// Tells of each drive its number and its nodes, then waits for ever.
[[noreturn]] void run(const std::vector<std::string>& locators) try {
    TargetHost host;
    std::vector<std::jthread> players;
    for (unsigned unit = 0; unit < locators.size(); ++unit) {
        const auto drive = libDrive2::ScsiDevice::openScsiDevice(
            locators[unit], libDrive2::kAccessRead | libDrive2::kAccessWrite, 0);
        if (!drive)
            end(libDrive2::lastOpenErrorStr().utf8());
        players.emplace_back(play, drive, host.create(unit));
        std::cout << unit << " " << host.attach(unit) << std::endl;
    }
    while (true)
        std::this_thread::sleep_for(std::chrono::hours(1));
} catch (const std::exception& error) {
    end(error.what());
}

}  // namespace

}  // namespace lab

int main(int argc, char** argv) {
    const int factor = argc > 2 ? std::atoi(argv[1]) : 0;
    if (factor < 1) {
        std::cerr << "usage: optical_target TIMES-FASTER-THAN-REAL sim:optical|scsi[,KEY=VALUE]..."
                  << std::endl;
        return EXIT_FAILURE;
    }
    lab::FastClock clock(factor);
    zel::Clock::install(&clock);
    lab::run({argv + 2, argv + argc});
}
