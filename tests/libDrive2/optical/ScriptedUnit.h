#pragma once

#include <map>

#include "libDrive2/Fixtures.h"
#include "libDrive2/commands/Hex.h"

namespace libDrive2 {

/// What commands that begin with these bytes are answered, one after the other, the last one for ever: data,
/// or
/// "!" and a sense key, code and qualifier, or "late" for none in time. The longest beginning counts.
using Script = std::map<std::string, std::vector<std::string>>;

/// An optical drive that answers as it is told, and keeps the commands that change something: in hexadecimal
/// without the zeros at their end, but for writes "W" with LBA and count, and parameters behind a colon.
class ScriptedUnit : public ScsiPassThrough {
public:
    ScriptedUnit(Script script, std::string& log) : m_script(std::move(script)), m_log(log) {}

    ScsiResponse execute(const ScsiRequest& request) override {
        const bool reads = request.direction == DataDirection::fromDevice;
        const std::string command = hex(request.cdb.data(), request.cdbBytes);
        if (!reads && request.cdb[0] != 0)
            note(request, command);
        std::vector<std::string>* answers = nullptr;
        for (auto& [beginning, list] : m_script)  // ascending: a longer beginning comes later
            if (command.starts_with(beginning))
                answers = &list;
        const std::string answer = answers != nullptr ? answers->front() : reads ? "!052000" : "";
        if (answers != nullptr && answers->size() > 1)
            answers->erase(answers->begin());
        EXPECT_GE(request.timeoutMs, request.cdb[0] == 0x2A ? 200000U : 1U)
            << "the laser is calibrated first";
        if (answer == "late")
            return {{LIBDRIVE2_TIMEOUT, "no answer in time"}};
        if (answer.starts_with('!'))
            return answered("7000" + answer.substr(1, 2) + "00000000 0A 00000000" + answer.substr(3) +
                            "00 804000");
        if (!reads)
            return {{}, 0, {}, 0, request.dataBytes};
        std::vector<std::uint8_t> data = fromHex(answer);
        data.resize(std::min(data.size(), request.dataBytes));
        std::ranges::copy(data, static_cast<std::uint8_t*>(request.data));
        return {{}, 0, {}, 0, data.size()};
    }
    [[nodiscard]] std::size_t maxTransferBytes() const override { return 65536; }
    DeviceStatus reopen() override { return {}; }

private:
    static std::string hex(const void* bytes, std::size_t count) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i)
            text += scsi::hexByte(static_cast<const std::uint8_t*>(bytes)[i]);
        return text;
    }
    static std::string shortened(std::string text) {
        while (text.ends_with("00"))
            text.resize(text.size() - 2);
        return text;
    }
    void note(const ScsiRequest& request, const std::string& command) {
        const bool writes = command.starts_with("2A");
        m_log += writes ? "W" + command.substr(4, 8) + "+" + command.substr(16, 2) : shortened(command);
        if (!writes && request.dataBytes != 0)
            m_log += ":" + shortened(hex(request.data, request.dataBytes));
        m_log += ' ';
    }

    Script m_script;
    std::string& m_log;
};

inline std::string configuration(const std::string& profile, const std::string& features = "") {
    return "000000FF 0000 " + profile + features;
}

/// A track's number, its flags (40: blank, 30: fixed packets), where it goes on and how much is free there.
inline std::string track(const std::string& number, const std::string& flags, const std::string& next,
                         const std::string& free) {
    const bool open = next != "-";
    return "0022" + number + "01 00 04" + flags +
           (open ? "01 00000000" + next : "00" + std::string(16, '0')) + free + std::string(32, '0');
}

/// Disc status in byte 2 and background format in byte 7; the last track is 1.
inline std::string disc(const std::string& status, const std::string& background = "00") {
    return "0020" + status + "01 01 01 01" + background + std::string(52, '0');
}

/// A drive of a class on a scripted unit with a medium of a profile.
template <class Class>
struct Scripted {
    explicit Scripted(const std::string& profile, Script script = {})
        : drive(SharedScsiPassThrough(
              std::make_unique<ScriptedUnit>(completed(std::move(script), profile), log))) {}
    static Script completed(Script script, const std::string& profile) {
        script.merge(Script{{"12", {"05800232 1F000000" + std::string(56, '2')}},
                            {"25", {"0004FFFF 00000800"}},
                            {"46", {configuration(profile)}}});
        return script;
    }
    VirtualTime time;
    std::string log;
    Class drive;
};

}  // namespace libDrive2
