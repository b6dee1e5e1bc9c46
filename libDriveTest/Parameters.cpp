#include "Parameters.h"

namespace libDriveTest::parameters {

using quix5::DataType;

SharedParameter<bool> displayAdvancedErrs{"DisplayAdvancedErrs", DataType::BOOLEAN, true};
SharedParameter<bool> displayRecoveredErrs{"DisplayRecoveredErrs", DataType::BOOLEAN, true};
SharedParameter<bool> doNotEject{"DoNotEject", DataType::BOOLEAN, false};
SharedParameter<bool> promptUserForMedia{"PromptUserForMedia", DataType::BOOLEAN, true};
SharedParameter<bool> xferSizeHinting{"XferSizeHinting", DataType::BOOLEAN, true};
SharedParameter<std::uint32_t> maxErrors{"MaxErrors", DataType::UINT32, 0};
SharedParameter<std::uint32_t> maxWarnings{"MaxWarnings", DataType::UINT32, 0};
SharedParameter<bool> warnRMB{"WarnRMB", DataType::BOOLEAN, false};
SharedParameter<std::uint32_t> retryCount{"RetryCount", DataType::UINT32, 2};
SharedParameter<std::uint32_t> maxRetries{"MaxRetries", DataType::UINT32, 3};

SharedParameter<zel::String> startRange{"StartRange", DataType::STRING, "MIN"};
SharedParameter<zel::String> endRange{"EndRange", DataType::STRING, "MAX"};
SharedParameter<std::uint64_t> numberOfSeeks{"NumberOfSeeks", DataType::UINT64, 0};
SharedParameter<double> sectorPercentToTest{"SectorPercentToTest", DataType::PERCENT, 100.0};
SharedParameter<bool> isolateFailedLBA{"IsolateFailedLBA", DataType::BOOLEAN, true};

constexpr const char* kSeekMethods[] = {"seek", "read"};
SharedParameter<zel::String> seekMethod{"SeekMethod", DataType::STRING, "seek", false, kSeekMethods};

SharedParameter<bool> preserveData{"PreserveData", DataType::BOOLEAN, true};
SharedParameter<std::uint32_t> numberOfPatterns{"NumberOfPatterns", DataType::UINT32, 4};
SharedParameter<zel::String> overridePattern{"OverridePattern", DataType::STRING, ""};
SharedParameter<bool> verifyOnly{"VerifyOnly", DataType::BOOLEAN, false};
SharedParameter<zel::String> writeStartRange{"WriteStartRange", DataType::STRING, "MIN"};
SharedParameter<zel::String> writeEndRange{"WriteEndRange", DataType::STRING, "MAX"};

SharedParameter<double> readRateThreshold{"ReadRateThreshold", DataType::DOUBLE, 1.0};
SharedParameter<double> writeRateThreshold{"WriteRateThreshold", DataType::DOUBLE, 1.0};
SharedParameter<bool> warnOnBelowThreshold{"WarnOnBelowThreshold", DataType::BOOLEAN, true};

SharedParameter<zel::String> mmcSupportedProfiles{
    "MMCsupportedProfiles", DataType::STRING,
    "CDROM,CDR,CDRW,DVDROM,DVDR_SEQ_RECORD,DVDRAM,DVD_MINUS_RW_RESTRICT_OWR,DVD_MINUS_RW_SEQ_OWR,"
    "DVDR_DL_SEQ_RECORD,DVDR_DL_JMP_RECORD,DVD_MINUS_RW_DL,DVD_DOWNLOAD_DISC_RCRD,DVD_PLUS_RW,"
    "DVD_PLUS_R,DVD_PLUS_RW_DL,DVD_PLUS_R_DL,BDROM,BD_R_SEQ,BD_R_RAN,BD_RE,HD_DVDROM,HD_DVDR,"
    "HD_DVDRAM,HD_DVDRW,HD_DVDR_DL,HD_DVDRW_DL",
    true};
SharedParameter<std::uint32_t> minDataCapacity{"MinDataCapacity", DataType::UINT32, 6000};
SharedParameter<bool> alwaysEject{"AlwaysEject", DataType::BOOLEAN, false};

SharedParameter<std::uint32_t> minRate{"MinRate", DataType::UINT32, 2000};
SharedParameter<std::uint32_t> maxRate{"MaxRate", DataType::UINT32, 8000};
SharedParameter<double> minRatePercent{"MinRatePercent", DataType::PERCENT, 70.0};
SharedParameter<std::uint32_t> testPassCount{"TestPassCount", DataType::UINT32, 3};

}  // namespace libDriveTest::parameters
