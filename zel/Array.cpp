#include "zel/Array.h"

#include <stdexcept>

#include "zel/Log.h"

namespace zel {

void assertionFailed(const char* condition) {
    LogFactory::createLogger("zel").line(4, "broken precondition: ", condition);
    throw std::logic_error(condition);
}

}  // namespace zel
