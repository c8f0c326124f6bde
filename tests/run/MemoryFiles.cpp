#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

namespace {

// Whole runs commit often, and each commit waits for the disk. None of these tests is about a
// machine that loses power, so their files are kept in memory where that is possible.
class MemoryFiles : public ::testing::Environment {
  public:
    void SetUp() override {
        if (std::getenv("TMPDIR") == nullptr && access("/dev/shm", W_OK) == 0) {
            setenv("TMPDIR", "/dev/shm", 0);
        }
    }
};

const ::testing::Environment* const kMemoryFiles =
    ::testing::AddGlobalTestEnvironment(new MemoryFiles);

}  // namespace
