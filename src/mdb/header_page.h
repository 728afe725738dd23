#pragma once
// Page 0 of a Jet 4 file: the format signature and the RC4-masked block with the code page, the
// (empty) password, the sort order and the creation date.

#include <cstdint>

namespace tb::mdb::jet {

void BuildHeaderPage(double createdDays, std::uint8_t* page);

// Undoes (or applies) the mask of bytes 0x18..0x97 in place; for tests and the checker.
void ToggleHeaderMask(std::uint8_t* page);

}  // namespace tb::mdb::jet
