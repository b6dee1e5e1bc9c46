#pragma once

#include <cstdint>

#include "zel/Export.h"

namespace quix5 {

/// How a message box was closed.
enum class MessageBox2_Returns : std::uint8_t {
    OK = 1,
    CANCEL = 5,
    NOT_SHOWN = 7,  ///< no box could be shown (the module's own value)
};

/// A prompt shown to the user. Owned by the caller of DiagModule::createMessageBox2; destroying it takes
/// the prompt off the screen.
class DRIVETEST_API MessageBox2 {
public:
    virtual ~MessageBox2() = default;
    /// Shows the box without waiting; false when it cannot be shown.
    virtual bool display() = 0;
    /// Blocks until the box is closed or the time is over; 0 waits without limit. True when it is closed.
    virtual bool wait(std::uint32_t milliseconds) = 0;
    /// How it was closed; meaningful after wait() returned true.
    [[nodiscard]] virtual MessageBox2_Returns getReturn() const = 0;
};

}  // namespace quix5
