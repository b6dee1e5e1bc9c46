#pragma once

#include "SharedParameter.h"

/// The parameters of all tests of the module.
namespace libDriveTest::parameters {

using quix5::DataType;

// Registered by every test.
inline SharedParameter<bool> displayAdvancedErrs{"DisplayAdvancedErrs", DataType::BOOLEAN, true};
inline SharedParameter<bool> displayRecoveredErrs{"DisplayRecoveredErrs", DataType::BOOLEAN, true};
inline SharedParameter<bool> doNotEject{"DoNotEject", DataType::BOOLEAN, false};
inline SharedParameter<bool> promptUserForMedia{"PromptUserForMedia", DataType::BOOLEAN, true};
inline SharedParameter<bool> xferSizeHinting{"XferSizeHinting", DataType::BOOLEAN, true};
inline SharedParameter<std::uint32_t> maxErrors{"MaxErrors", DataType::UINT32, 0};
inline SharedParameter<std::uint32_t> maxWarnings{"MaxWarnings", DataType::UINT32, 0};
inline SharedParameter<bool> warnRMB{"WarnRMB", DataType::BOOLEAN, false};
inline SharedParameter<std::uint32_t> retryCount{"RetryCount", DataType::UINT32, 2};
inline SharedParameter<std::uint32_t> maxRetries{"MaxRetries", DataType::UINT32, 3};

// The area to test.
inline SharedParameter<zel::String> startRange{"StartRange", DataType::STRING, "MIN"};
inline SharedParameter<zel::String> endRange{"EndRange", DataType::STRING, "MAX"};
inline SharedParameter<std::uint64_t> numberOfSeeks{"NumberOfSeeks", DataType::UINT64, 0};
inline SharedParameter<double> sectorPercentToTest{"SectorPercentToTest", DataType::PERCENT, 100.0};
/// Seconds; 0 means no limit.
inline SharedParameter<std::uint32_t> maxTime{"MaxTime", DataType::UINT32, 0};
inline SharedParameter<zel::String> onlyRanges{"OnlyRanges", DataType::STRING, ""};
/// Of a run that goes on where another one broke off: sectors that are done, and the errors among them.
inline SharedParameter<std::uint64_t> sectorsDone{"SectorsDone", DataType::UINT64, 0};
inline SharedParameter<std::uint32_t> errorsBefore{"ErrorsBefore", DataType::UINT32, 0};
inline SharedParameter<bool> isolateFailedLBA{"IsolateFailedLBA", DataType::BOOLEAN, true};

inline constexpr const char* kSeekMethods[] = {"seek", "read"};
inline SharedParameter<zel::String> seekMethod{"SeekMethod", DataType::STRING, "seek", false, kSeekMethods};

inline constexpr const char* kSurveyMethods[] = {"sample", "gentle"};
inline SharedParameter<zel::String> surveyMethod{"SurveyMethod", DataType::STRING, "sample", false,
                                                 kSurveyMethods};

// Of tests that write.
inline SharedParameter<bool> preserveData{"PreserveData", DataType::BOOLEAN, true};
inline SharedParameter<std::uint32_t> numberOfPatterns{"NumberOfPatterns", DataType::UINT32, 4};
inline SharedParameter<zel::String> overridePattern{"OverridePattern", DataType::STRING, ""};
inline SharedParameter<bool> addressPattern{"AddressPattern", DataType::BOOLEAN, false};
inline SharedParameter<std::uint32_t> numberOfAddresses{"NumberOfAddresses", DataType::UINT32, 4096};
inline SharedParameter<bool> verifyOnly{"VerifyOnly", DataType::BOOLEAN, false};
inline SharedParameter<zel::String> writeStartRange{"WriteStartRange", DataType::STRING, "MIN"};
inline SharedParameter<zel::String> writeEndRange{"WriteEndRange", DataType::STRING, "MAX"};

// Of tests that measure a rate; MB/s, 1 MB = 1,048,576 bytes.
inline SharedParameter<double> readRateThreshold{"ReadRateThreshold", DataType::DOUBLE, 1.0};
inline SharedParameter<double> writeRateThreshold{"WriteRateThreshold", DataType::DOUBLE, 1.0};
inline SharedParameter<bool> warnOnBelowThreshold{"WarnOnBelowThreshold", DataType::BOOLEAN, true};

// Of tests of optical drives; rates in KB/s, 1 KB = 1000 bytes.
inline SharedParameter<zel::String> mmcSupportedProfiles{
    "MMCsupportedProfiles", DataType::STRING,
    "CDROM,CDR,CDRW,DVDROM,DVDR_SEQ_RECORD,DVDRAM,DVD_MINUS_RW_RESTRICT_OWR,DVD_MINUS_RW_SEQ_OWR,"
    "DVDR_DL_SEQ_RECORD,DVDR_DL_JMP_RECORD,DVD_MINUS_RW_DL,DVD_DOWNLOAD_DISC_RCRD,DVD_PLUS_RW,"
    "DVD_PLUS_R,DVD_PLUS_RW_DL,DVD_PLUS_R_DL,BDROM,BD_R_SEQ,BD_R_RAN,BD_RE,HD_DVDROM,HD_DVDR,"
    "HD_DVDRAM,HD_DVDRW,HD_DVDR_DL,HD_DVDRW_DL",
    true};
inline SharedParameter<std::uint32_t> minDataCapacity{"MinDataCapacity", DataType::UINT32, 6000};
inline SharedParameter<bool> alwaysEject{"AlwaysEject", DataType::BOOLEAN, false};
inline SharedParameter<std::uint32_t> minRate{"MinRate", DataType::UINT32, 2000};
inline SharedParameter<std::uint32_t> maxRate{"MaxRate", DataType::UINT32, 8000};
inline SharedParameter<double> minRatePercent{"MinRatePercent", DataType::PERCENT, 70.0};
inline SharedParameter<std::uint32_t> testPassCount{"TestPassCount", DataType::UINT32, 3};

}  // namespace libDriveTest::parameters
