#include "quix5/TestResult.h"

#include <iterator>

namespace quix5 {

const char* TestResult::name() const {
    static constexpr const char* kNames[] = {"PASS",           "WARN",       "NOTSUPPORTED", "NOMEDIA",
                                             "INCORRECTMEDIA", "DEVICEBUSY", "CANNOTRUN",    "MISCONFIGURED",
                                             "BADPARAMS",      "TIMEDOUT",   "USERABORTED",  "FAIL",
                                             "INTERNALERROR"};
    static_assert(std::size(kNames) == INTERNALERROR + 1);
    return kNames[m_code];
}

void TestResult::merge(const TestResult& other) {
    if (other.m_code > m_code)
        m_code = other.m_code;
}

}  // namespace quix5
