// libFuzzer target for the translator of users' Access SQL: any text must translate without a
// crash or a sanitizer report.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "extraction/access_sql.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    (void)tb::extraction::TranslateAccessSql(text);
    return 0;
}
