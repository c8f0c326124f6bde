#pragma once

#include <cstdint>
#include <string>

namespace morvane::testing {

// A disk of a few megabytes in memory, mounted on a folder that is there, for this process and its
// children alone.
class SmallDisk {
  public:
    explicit SmallDisk(std::string folder);
    ~SmallDisk();
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    // Why nothing could be mounted; empty when the disk is there.
    const std::string& WhyNot() const { return whyNot_; }

    // Leaves so much room, which a file of its own takes or gives.
    void LeaveRoom(std::uintmax_t bytes) const;
    void MakeRoom() const;

  private:
    std::string Filler() const { return folder_ + "/filler"; }

    std::string folder_;
    std::string whyNot_;
};

}  // namespace morvane::testing
