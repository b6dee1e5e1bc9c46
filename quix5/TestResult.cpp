#include "quix5/TestResult.h"

namespace quix5 {

const char* TestResult::name() const {
    switch (m_code) {
        case PASS:
            return "PASS";
        case WARN:
            return "WARN";
        case NOTSUPPORTED:
            return "NOTSUPPORTED";
        case NOMEDIA:
            return "NOMEDIA";
        case INCORRECTMEDIA:
            return "INCORRECTMEDIA";
        case DEVICEBUSY:
            return "DEVICEBUSY";
        case CANNOTRUN:
            return "CANNOTRUN";
        case MISCONFIGURED:
            return "MISCONFIGURED";
        case BADPARAMS:
            return "BADPARAMS";
        case TIMEDOUT:
            return "TIMEDOUT";
        case USERABORTED:
            return "USERABORTED";
        case FAIL:
            return "FAIL";
        case INTERNALERROR:
            return "INTERNALERROR";
    }
    return "";
}

void TestResult::merge(const TestResult& other) {
    if (other.m_code > m_code)
        m_code = other.m_code;
}

}  // namespace quix5
