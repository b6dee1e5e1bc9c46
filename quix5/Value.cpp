#include "quix5/Value.h"

namespace quix5 {

bool Value::valueBool() const {
    bool truth = false;
    return m_value.get(truth) && truth;
}

}  // namespace quix5
