#include "mdb/header_page.h"

#include <nettle/arcfour.h>

#include <cmath>
#include <cstring>

#include "mdb/jet_format.h"

namespace tb::mdb::jet {

namespace {

constexpr std::size_t kMaskedStart = 0x18;
constexpr std::size_t kMaskedSize = 128;
constexpr std::uint8_t kMaskKey[4] = {0xC7, 0xDA, 0x39, 0x6B};

}  // namespace

void ToggleHeaderMask(std::uint8_t* page) {
    arcfour_ctx ctx;
    arcfour_set_key(&ctx, sizeof kMaskKey, kMaskKey);
    std::uint8_t stream[kMaskedSize];
    std::uint8_t zeros[kMaskedSize] = {};
    arcfour_crypt(&ctx, kMaskedSize, stream, zeros);
    for (std::size_t i = 0; i < kMaskedSize; ++i) page[kMaskedStart + i] ^= stream[i];
}

void BuildHeaderPage(double createdDays, std::uint8_t* page) {
    std::memset(page, 0, kPageSize);
    static constexpr std::uint8_t kSignature[] = {0x00, 0x01, 0x00, 0x00, 'S',  't',  'a',  'n',
                                                  'd',  'a',  'r',  'd',  ' ',  'J',  'e',  't',
                                                  ' ',  'D',  'B',  0x00, 0x01, 0x00, 0x00, 0x00};
    std::memcpy(page, kSignature, sizeof kSignature);  // ends with the version: 1 = Jet 4

    static constexpr std::uint8_t kMaskedHead[] = {0x00, 0x01, 0x00, 0x00, 0x01, 0x01, 0x00, 0x00,
                                                   0x02, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00,
                                                   0x04, 0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00};
    std::memcpy(page + 0x18, kMaskedHead, sizeof kMaskedHead);
    Put16(page + 0x3C, 1252);  // code page
    Put32(page + 0x3E, 0);     // database key 0: pages are not encrypted
    // No password: the field holds only its mask, the creation date's whole days, repeated.
    const auto mask =
        static_cast<std::uint32_t>(static_cast<std::int32_t>(std::trunc(createdDays)));
    for (std::size_t i = 0; i < 10; ++i) Put32(page + 0x42 + 4 * i, mask);
    Put32(page + 0x6A, 0x261C);  // as in the Jet engine's own empty file; meaning unknown
    Put32(page + 0x6E, 0x0409);  // sort order 1033 "General", version 0
    PutDouble(page + 0x72, createdDays);
    ToggleHeaderMask(page);

    static constexpr std::uint8_t kAfterMask[] = {0x54, 0x06, 0x00, 0x00, 0x34, 0x2E, 0x30, 0x00};
    std::memcpy(page + 0x98, kAfterMask, sizeof kAfterMask);
    page[0xE00] = 0x01;
    page[0xE01] = 0x01;
    for (std::size_t i = 0xE02; i < kPageSize; i += 2) {
        page[i] = 0x00;
        page[i + 1] = 0x01;
    }
}

}  // namespace tb::mdb::jet
