#pragma once
// A file written under a temporary name beside its target and renamed onto it only when
// complete; removed if the object goes without Commit().

#include <filesystem>

namespace tb::storefile {

class TempTarget {
  public:
    // Creates "<target name>.tmp-xxxxxxxx", empty, in the target's folder.
    explicit TempTarget(std::filesystem::path target);
    ~TempTarget();
    TempTarget(const TempTarget&) = delete;
    TempTarget& operator=(const TempTarget&) = delete;

    const std::filesystem::path& path() const { return temp_; }
    const std::filesystem::path& target() const { return target_; }

    // Syncs the finished file to disk and renames it onto the target (replacing an old one).
    void Commit();

  private:
    std::filesystem::path target_;
    std::filesystem::path temp_;
    bool committed_ = false;
};

}  // namespace tb::storefile
