// Statedb/Crc32c.h: CRC-32C (Castagnoli, polynomial 0x1EDC6F41, reflected),
// the checksum of every frame of the attribute-log stream and journal.
//
//   Statedb::crc32c("123456789", 9) == 0xE3069283
#pragma once

#include <cstddef>
#include <cstdint>

namespace Statedb {

/// The CRC-32C of `size` bytes at `data`, continuing from `crc` (the CRC of
/// what came before; 0 for a fresh start).
std::uint32_t crc32c(void const* data, std::size_t size, std::uint32_t crc = 0) noexcept;

} // namespace Statedb
