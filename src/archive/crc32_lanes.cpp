#include "archive/crc32_lanes.h"

#include "archive/crc32_lane_loop.h"

namespace mos {
namespace {

using FourWords __attribute__((vector_size(16))) = std::uint32_t;

} // namespace

std::uint32_t appendCrc32Segments(std::uint32_t value, const std::byte* data,
                                  std::size_t segmentSize, const std::uint32_t* shifts) noexcept {
    return appendSegments<FourWords>(value, data, segmentSize, shifts);
}

} // namespace mos
