#include "extraction/big_plant.h"

#include "common/error.h"
#include "common/log.h"
#include "storefile/store_file.h"

namespace tb::extraction {

namespace fs = std::filesystem;

fs::path PidLinkFile(const fs::path& extract) {
    return extract.parent_path() / (extract.stem().string() + "_link.mdb");
}

void CreateAndLinkPidTable(store::Store& store, const fs::path& extract) {
    Trap("CreateAndLinkPidTable", [&] {
        const fs::path link = PidLinkFile(extract);
        std::error_code ec;
        if (fs::exists(link, ec) && !fs::remove(link, ec))
            Raise("The old link file " + link.string() + " cannot be deleted: " + ec.message());
        storefile::WriteTableApart(store, "PID", link);
    });
}

}  // namespace tb::extraction
