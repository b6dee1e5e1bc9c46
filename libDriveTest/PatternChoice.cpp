#include "PatternChoice.h"

#include "Parameters.h"

namespace libDriveTest {

PatternChoice PatternChoice::read(std::uint32_t most) {
    using namespace parameters;
    PatternChoice choice;
    choice.bytePatterns = numberOfPatterns.value();
    if (const zel::String text = overridePattern.value(); !text.isEmpty()) {
        std::uint32_t value = 0;
        if (!text.strToUInt(value, 16) || value > 0xFF) {
            choice.refused = overridePattern.item();
            return choice;
        }
        choice.overrideByte = static_cast<std::uint8_t>(value);
        choice.bytePatterns = 1;
        choice.isOverridden = true;
    }
    choice.verifiesOnly = verifyOnly.value();
    choice.stampsAddresses = addressPattern.value();
    const bool isCountWrong = choice.bytePatterns == 0 || choice.bytePatterns > most;
    if (choice.verifiesOnly && !choice.isOverridden)
        choice.refused = overridePattern.item() + ", " + verifyOnly.item();
    else if (isCountWrong)
        choice.refused = numberOfPatterns.item();
    else if (choice.stampsAddresses && choice.verifiesOnly)  // the addresses of another run are not known
        choice.refused = addressPattern.item() + ", " + verifyOnly.item();
    choice.isCountRefused = isCountWrong && choice.refused == numberOfPatterns.item();
    return choice;
}

}  // namespace libDriveTest
