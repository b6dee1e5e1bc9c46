#pragma once

#include <algorithm>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "libDrive2/BlockHandle.h"

namespace libDrive2 {

/// Contents of 512 bytes by number, so that states are cheap to keep and compare. 0 cannot be read.
class Contents {
public:
    static std::uint32_t numberOf(const std::string& text) {
        const auto [place, isNew] = numbers().insert({text, static_cast<std::uint32_t>(texts().size())});
        if (isNew)
            texts().push_back(text);
        return place->second;
    }
    static const std::string& text(std::uint32_t number) { return texts()[number]; }
    /// Numbers are given from the first one again, so that what is chosen by them does not depend on what the
    /// process did before. None of those that were given may be in use.
    static void forget() {
        numbers() = {{"", 0}};
        texts() = {""};
    }

private:
    static std::map<std::string, std::uint32_t>& numbers() {
        static std::map<std::string, std::uint32_t> map{{"", 0}};
        return map;
    }
    static std::deque<std::string>& texts() {
        static std::deque<std::string> list{""};  // references to its texts last
        return list;
    }
};

/// What a device with a volatile cache holds.
struct DeviceState {
    using Sectors = std::vector<std::uint32_t>;
    static constexpr std::size_t kMostLeft = 400;  ///< more than a device that flushes ever needs
    Sectors durable;
    std::map<std::size_t, Sectors> pending;  ///< what was written to a sector since the last flush
    std::set<std::size_t> newest;            ///< the sectors of the last write

    /// FNV-1a, to recognize states.
    [[nodiscard]] std::size_t hash(std::size_t sum) const {
        const auto add = [&sum](std::size_t number) { sum = (sum ^ number) * 0x100000001B3 + (sum >> 40); };
        std::for_each(durable.begin(), durable.end(), add);
        for (const auto& [sector, versions] : pending) {
            add(sector + 1000000);
            std::for_each(versions.begin(), versions.end(), add);
        }
        return sum;
    }
    [[nodiscard]] std::uint32_t now(std::size_t sector) const {
        const auto found = pending.find(sector);
        return found == pending.end() ? durable[sector] : found->second.back();
    }

    /// All that a power cut may leave: per sector any of the contents since the last flush, in the newest
    /// write also the beginning of the new with the end of the old, or nothing readable in a whole physical
    /// sector.
    /// Where that is too much, only some.
    [[nodiscard]] std::set<Sectors> afterPowerCut(std::size_t physicalSectors) const {
        std::set<Sectors> left{durable};
        for (const auto& [sector, versions] : pending) {
            Sectors choices = versions;
            if (newest.contains(sector)) {
                const std::string& before =
                    Contents::text(versions.size() > 1 ? *(versions.end() - 2) : durable[sector]);
                // Within a journal's headers too, which lie at the beginning of blocks.
                for (const std::size_t cut : {300, 7, 14, 50, 84})
                    if (!before.empty() && (cut == 300 || (cut == 7 && sector % 3 == 1) ||
                                            (cut != 7 && sector % 8 == 0 && physicalSectors == 0)))
                        choices.push_back(Contents::numberOf(Contents::text(versions.back()).substr(0, cut) +
                                                             before.substr(cut)));
            }
            if (left.size() * choices.size() > kMostLeft)
                break;
            for (const Sectors& each : std::set<Sectors>(left))
                for (const std::uint32_t choice : choices) {
                    Sectors changed = each;
                    changed[sector] = choice;
                    left.insert(std::move(changed));
                }
        }
        for (const std::size_t sector : physicalSectors > 0 ? newest : std::set<std::size_t>()) {
            Sectors spoilt = durable;
            const std::size_t first = sector / physicalSectors * physicalSectors;
            std::fill_n(spoilt.begin() + static_cast<std::ptrdiff_t>(first), physicalSectors, 0);
            left.insert(std::move(spoilt));
        }
        return left;
    }
};

class CrashDevice : public BlockHandle {
public:
    static constexpr std::size_t kSector = 512;

    CrashDevice(DeviceState held, std::uint32_t physicalSectors) : state(std::move(held)) {
        m_info.bytes = state.durable.size() * kSector;
        m_info.logicalSectorBytes = kSector;
        m_info.physicalSectorBytes = physicalSectors * kSector;
        m_info.writable = true;
    }
    static DeviceState blank(std::size_t sectors) {
        return {DeviceState::Sectors(sectors, Contents::numberOf(std::string(kSector, '\0'))), {}, {}};
    }

    [[nodiscard]] const BlockDeviceInfo& info() const override { return m_info; }
    DeviceStatus query() override { return {}; }
    DeviceStatus dropCache() override { return {}; }
    DeviceStatus reopen() override { return {}; }
    DeviceStatus read(std::uint64_t offset, void* buffer, std::size_t bytes) override {
        for (std::size_t at = 0; at < bytes; at += kSector) {
            const std::string& text = Contents::text(state.now((offset + at) / kSector));
            if (text.empty() || (failing && failing('r', (offset + at) / kSector)))
                return {LIBDRIVE2_MEDIA_ERROR, "bad sector"};
            text.copy(static_cast<char*>(buffer) + at, kSector);
        }
        return {};
    }
    DeviceStatus write(std::uint64_t offset, const void* buffer, std::size_t bytes) override {
        state.newest.clear();
        for (std::size_t at = 0; at < bytes; at += kSector) {
            const std::size_t sector = (offset + at) / kSector;
            if (failing && failing('w', sector))
                return {LIBDRIVE2_MEDIA_ERROR, "bad sector"};
            const auto number =
                Contents::numberOf(std::string(static_cast<const char*>(buffer) + at, kSector));
            if (number == state.now(sector))
                continue;
            state.pending[sector].push_back(number);
            state.newest.insert(sector);
        }
        ++writes;
        if (onWrite)
            onWrite();
        return {};
    }
    DeviceStatus flush() override {
        if (failing && failing('f', 0))
            return {LIBDRIVE2_MEDIA_ERROR, "the cache is stuck"};
        if (!ignoresFlush) {
            for (const auto& [sector, versions] : state.pending)
                state.durable[sector] = versions.back();
            state.pending.clear();
            state.newest.clear();
        }
        return {};
    }

    DeviceState state;
    bool ignoresFlush = false;
    std::size_t writes = 0;
    std::function<void()> onWrite;
    std::function<bool(char operation, std::size_t sector)> failing;

private:
    BlockDeviceInfo m_info;
};

}  // namespace libDrive2
