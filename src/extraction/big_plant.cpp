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
        // The link names the file by its full path, so that it resolves wherever the extract is
        // opened from.
        // An old link file stays until the new one, complete, replaces it with the extract; the
        // run checked the name at its start (PrepareRunTargets).
        const fs::path link = PidLinkFile(fs::absolute(extract));
        storefile::WriteTableApart(store, "PID", link);
    });
}

}  // namespace tb::extraction
