#include "fuzz/Invariants.h"
#include "libDrive2/commands/NVMeCommands.h"
#include "libDrive2/commands/NVMeHealth.h"

namespace libDrive2::fuzz {
namespace {

void checkAnswer(Bytes answer) {
    if (const auto controller = nvme::parseController(answer)) {
        requireTexts({controller->model, controller->serial, controller->firmware});
        require(controller->maxTransferBytes == 0 || controller->maxTransferBytes >= 8192,
                "a limit is of two pages or more");
    }
    if (const auto found = nvme::parseNamespace(answer)) {
        requireSizes(found->sectors, found->sectorBytes, found->sectorBytes);
    }
    const DriveHealth health = nvme::parseHealthLog(answer);
    require(health.bytesWritten.value_or(0) >= 0 && health.powerOnHours.value_or(0) >= 0,
            "counters do not wrap");
    if (const auto log = nvme::parseSelfTestLog(answer))
        require(log->percent <= 100 && log->entries.size() <= 20, "the log has 20 entries");
    require(nvme::parseTemperature(answer).value_or(0) > -273, "nothing is as cold as 0 K");
}

}  // namespace

/// The input is an answer of 4096 or 512 bytes, or its beginning; also, a status field.
void check(Bytes input) {
    NVMeResponse response;
    response.status = loadLittleEndian<std::uint16_t>(input, 0);
    const DeviceStatus status = nvme::statusOf(response);
    requireStatus(status);
    require(status.ok() == ((response.status & 0x7FF) == 0), "type 0, code 0 is the only success");
    checkAnswer(input);
    std::vector<std::uint8_t> whole(input.begin(), input.end());
    whole.resize(std::max(nvme::kIdentifyBytes, whole.size()));
    checkAnswer(whole);
}

}  // namespace libDrive2::fuzz
