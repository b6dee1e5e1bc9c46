#include "libDrive2/drives/UnitAttention.h"

namespace libDrive2 {

namespace {

/// A reset, a changed medium and changed modes may follow each other; more is a unit out of order.
constexpr int kMaxAttempts = 5;

bool isNews(const scsi::Outcome& outcome, News news) {
    return outcome.repeat ||
           (news == News::ofMedium && outcome.sense && outcome.sense->key == scsi::kSenseUnitAttention);
}

}  // namespace

AnsweredCommand executePast(News news, ScsiPassThrough& device, const ScsiRequest& request) {
    AnsweredCommand answered;
    int attempt = 0;
    do {
        answered.response = device.execute(request);
        answered.outcome = scsi::judge(answered.response);
    } while (isNews(answered.outcome, news) && ++attempt < kMaxAttempts);
    return answered;
}

}  // namespace libDrive2
