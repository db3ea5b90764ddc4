#include "archive/crc32_lanes.h"

#include "archive/crc32_lane_loop.h"

namespace mos {

void advanceCrc32LanesAvx2(std::uint32_t* lanes, const std::byte* data,
                           std::size_t segmentSize) noexcept {
    advanceLanes(lanes, data, segmentSize);
}

} // namespace mos
