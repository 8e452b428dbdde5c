// A process killed while it saves leaves a file that opens with every committed row.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kiv/storage/storage_test_support.hpp"

namespace kiv::testing {
namespace {

constexpr int kBatch = 500;

// Saves batches of feed items for ever, telling the pipe after each committed batch.
[[noreturn]] void saveUntilKilled(const std::string& path, int progress) {
  const auto storage = openStorage(path);
  for (int batch = 0;; ++batch) {
    storage->setModels(feedItems(batch * kBatch, kBatch, "saved"));
    if (write(progress, &batch, sizeof batch) != sizeof batch) _exit(1);
  }
}

TEST_F(StorageTest, AProcessKilledDuringSavesLeavesEveryCommittedRow) {
  int progress[2];
  ASSERT_EQ(pipe(progress), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    close(progress[0]);
    saveUntilKilled(path, progress[1]);
  }
  close(progress[1]);
  int committed = -1;
  pollfd readable{progress[0], POLLIN, 0};
  while (committed < 5 && poll(&readable, 1, 30000) == 1) {
    if (read(progress[0], &committed, sizeof committed) != sizeof committed) break;
  }
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  close(progress[0]);
  ASSERT_GE(committed, 5) << "the saving process made no progress";

  const auto storage = openStorage();
  EXPECT_EQ(onDisk("PRAGMA integrity_check"), "ok");
  const int rows = std::stoi(onDisk("SELECT count(*) FROM kiv_feeditem_v1"));
  EXPECT_EQ(rows % kBatch, 0) << "a batch was written in part";
  EXPECT_GE(rows, (committed + 1) * kBatch);
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_feeditem_v1 WHERE itemid < " + std::to_string(rows)),
            std::to_string(rows));
  EXPECT_TRUE(storage->modelWith(committed * kBatch + kBatch - 1, FeedItem::kivClass()));
}

}  // namespace
}  // namespace kiv::testing
