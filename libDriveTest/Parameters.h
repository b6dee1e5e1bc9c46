#pragma once

#include "SharedParameter.h"

/// The parameters of all tests of the module.
namespace libDriveTest::parameters {

// Registered by every test.
extern SharedParameter<bool> displayAdvancedErrs;
extern SharedParameter<bool> displayRecoveredErrs;
extern SharedParameter<bool> doNotEject;
extern SharedParameter<bool> promptUserForMedia;
extern SharedParameter<bool> xferSizeHinting;
extern SharedParameter<std::uint32_t> maxErrors;
extern SharedParameter<std::uint32_t> maxWarnings;
extern SharedParameter<bool> warnRMB;
extern SharedParameter<std::uint32_t> retryCount;
extern SharedParameter<std::uint32_t> maxRetries;

// The area to test.
extern SharedParameter<zel::String> startRange;
extern SharedParameter<zel::String> endRange;
extern SharedParameter<std::uint64_t> numberOfSeeks;
extern SharedParameter<double> sectorPercentToTest;
extern SharedParameter<bool> isolateFailedLBA;

extern SharedParameter<zel::String> seekMethod;

// Of tests that write.
extern SharedParameter<bool> preserveData;
extern SharedParameter<std::uint32_t> numberOfPatterns;
extern SharedParameter<zel::String> overridePattern;
extern SharedParameter<bool> verifyOnly;
extern SharedParameter<zel::String> writeStartRange;
extern SharedParameter<zel::String> writeEndRange;

// Of tests that measure a rate; MB/s, 1 MB = 1,048,576 bytes.
extern SharedParameter<double> readRateThreshold;
extern SharedParameter<double> writeRateThreshold;
extern SharedParameter<bool> warnOnBelowThreshold;

// Of tests of optical drives; rates in KB/s, 1 KB = 1000 bytes.
extern SharedParameter<zel::String> mmcSupportedProfiles;
extern SharedParameter<std::uint32_t> minDataCapacity;
extern SharedParameter<bool> alwaysEject;
extern SharedParameter<std::uint32_t> minRate;
extern SharedParameter<std::uint32_t> maxRate;
extern SharedParameter<double> minRatePercent;
extern SharedParameter<std::uint32_t> testPassCount;

}  // namespace libDriveTest::parameters
