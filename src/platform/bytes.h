#pragma once
#include <cstdint>
#include <vector>

namespace xl {
using Bytes = std::vector<std::uint8_t>;
}
