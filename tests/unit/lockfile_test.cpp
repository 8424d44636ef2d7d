// The lock file several processes of one user share work through.

#include "../../src/zepwrapper/src/LockFile.h"

#include <unistd.h>

#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "HostProcess.h"

using tessel::zep::LockFile;

namespace {

TEST(LockFileTest, OneHolderAtATimeAndNeverThroughALink) {
    pelatest::TempDir dir;
    const std::string path = dir.path() + "/work.lock";
    std::string error;

    // flock belongs to the open file, so two holders in one process stand in
    // for two processes.
    LockFile first;
    LockFile second;
    ASSERT_EQ(first.lock(path, LockFile::Wait::No, error), LockFile::Outcome::Locked) << error;
    EXPECT_EQ(second.lock(path, LockFile::Wait::No, error), LockFile::Outcome::HeldElsewhere);
    EXPECT_FALSE(second.locked());
    EXPECT_GE(second.fd(), 0) << "the holder's file stays open to be read";
    first.unlock();
    EXPECT_EQ(second.lock(path, LockFile::Wait::Yes, error), LockFile::Outcome::Locked) << error;

    struct stat st {};
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    // A link planted where the lock file goes is refused, not followed.
    const std::string planted = dir.path() + "/planted.lock";
    ASSERT_EQ(symlink((dir.path() + "/elsewhere").c_str(), planted.c_str()), 0);
    EXPECT_EQ(first.lock(planted, LockFile::Wait::No, error), LockFile::Outcome::Failed);
    EXPECT_NE(error.find(planted), std::string::npos) << error;
    EXPECT_EQ(access((dir.path() + "/elsewhere").c_str(), F_OK), -1);
}

}  // namespace
