#pragma once

#include <cstdint>

#include "zel/Export.h"

namespace quix5 {

/// The outcome of a run. Default-constructed: PASS.
class DRIVETEST_API TestResult {
public:
    /// From best to worst: merge() keeps the worse of two.
    enum Code : std::uint8_t {
        PASS,
        WARN,
        NOTSUPPORTED,
        NOMEDIA,
        INCORRECTMEDIA,
        DEVICEBUSY,
        CANNOTRUN,
        MISCONFIGURED,
        BADPARAMS,
        TIMEDOUT,
        USERABORTED,
        FAIL,
        INTERNALERROR,
    };

    TestResult() = default;
    TestResult(Code code) : m_code(code) {}

    [[nodiscard]] Code code() const { return m_code; }
    /// The name of the constant.
    [[nodiscard]] const char* name() const;

    /// Combines another outcome into this one: the worse stays.
    void merge(const TestResult& other);

    bool operator==(const TestResult&) const = default;

private:
    Code m_code = PASS;
};

}  // namespace quix5
