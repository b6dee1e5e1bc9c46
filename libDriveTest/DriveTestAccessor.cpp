#include "DriveTestAccessor.h"

#include "zel/Log.h"

namespace libDriveTest {

namespace {

constexpr const char* kPrefix = "DriveTestSearchOrder";

constexpr DRIVE_IMPLEMENTATIONS kDefaultOrder[] = {
    DRIVE_IMPLEMENTATION_OS_SCSI_SBC, DRIVE_IMPLEMENTATION_SCSI_SBC,  DRIVE_IMPLEMENTATION_SCSI_MMC,
    DRIVE_IMPLEMENTATION_USB_UFI,     DRIVE_IMPLEMENTATION_OS_FLOPPY, DRIVE_IMPLEMENTATION_OS,
    DRIVE_IMPLEMENTATION_END,
};

zel::Logger& logger() {
    return zel::LogFactory::createLogger("libDriveTest.DriveTestAccessor");
}

}  // namespace

DriveTestAccessor::DriveTestAccessor(const DRIVE_IMPLEMENTATIONS* order) {
    if (order == nullptr)
        return;
    for (; *order != DRIVE_IMPLEMENTATION_END; ++order)
        m_order.push_back(*order);
    m_order.push_back(DRIVE_IMPLEMENTATION_END);
}

bool DriveTestAccessor::deserialize(const zel::String& text) {
    const zel::Array<zel::String> tokens = text.tokenize(":");
    if (text.isEmpty()) {
        logger().line(3, "Serialization is a null string");
        return false;
    }
    if (tokens[0] != kPrefix) {
        logger().line(3, zel::formatted("Serialization prefix (%s) is missing, found: ", kPrefix), tokens[0]);
        return false;
    }
    m_order.resize(tokens.size());
    for (std::size_t i = 1; i < tokens.size(); ++i) {
        std::uint32_t value = 0;
        const bool valid = tokens[i].toUint32(value, 0);
        if (!valid)
            logger().line(3, zel::formatted("Token %u in serialization is not a valid unsigned int", i),
                          text);
        if (!valid || value == DRIVE_IMPLEMENTATION_END) {
            m_order.back() = DRIVE_IMPLEMENTATION_END;
            return valid;
        }
        m_order[i - 1] = static_cast<DRIVE_IMPLEMENTATIONS>(value);
    }
    m_order.back() = DRIVE_IMPLEMENTATION_END;
    return true;
}

zel::String DriveTestAccessor::toString() const {
    zel::String text = kPrefix;
    for (const DRIVE_IMPLEMENTATIONS implementation : m_order) {
        if (implementation == DRIVE_IMPLEMENTATION_END)
            break;
        text += zel::format(":%u", static_cast<std::uint32_t>(implementation));
    }
    return text;
}

const DRIVE_IMPLEMENTATIONS* DriveTestAccessor::getDefaultSearchOrder() {
    return kDefaultOrder;
}

const char* DriveTestAccessor::getPropertyName() {
    return "__libDriveTest_AccessOrder";
}

}  // namespace libDriveTest
