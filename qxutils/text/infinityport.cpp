#include "qxutils/text/infinityport.h"

#include <limits>

namespace qxg_800 {

double GetInfinity() {
  static_assert(std::numeric_limits<double>::is_iec559, "the value's bits are 0x7FF0000000000000");
  return std::numeric_limits<double>::infinity();
}

}  // namespace qxg_800
