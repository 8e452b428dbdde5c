#include "tools/kiv/command_test_support.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

#include "kiv/collection/simple_database.hpp"
#include "kiv/storage/cache.hpp"
#include "kiv/storage/storage.hpp"

namespace kiv::cli::testing {
namespace {

// Reads both descriptors to their end (EIO from a pseudo-terminal whose other side closed counts
// as the end) and closes them.
void readToEnd(int outFd, std::string& out, int errFd, std::string& err) {
  std::array<pollfd, 2> fds{{{outFd, POLLIN, 0}, {errFd, POLLIN, 0}}};
  std::array<std::string*, 2> targets{&out, &err};
  int open = 2;
  while (open > 0) {
    if (::poll(fds.data(), fds.size(), -1) < 0) continue;
    for (std::size_t i = 0; i < fds.size(); ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      char buffer[4096];
      const ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
      if (n > 0) {
        targets[i]->append(buffer, static_cast<std::size_t>(n));
      } else {
        ::close(fds[i].fd);
        fds[i].fd = -1;
        --open;
      }
    }
  }
}

}  // namespace

KivRun runKiv(const std::vector<std::string>& arguments, bool stderrOnTerminal) {
  std::vector<std::string> words{KIV_COMMAND_PATH};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  int out[2];
  int err[2];
  EXPECT_EQ(::pipe(out), 0);
  if (stderrOnTerminal) {
    err[0] = ::posix_openpt(O_RDWR | O_NOCTTY);
    EXPECT_TRUE(err[0] >= 0 && ::grantpt(err[0]) == 0 && ::unlockpt(err[0]) == 0);
    err[1] = ::open(::ptsname(err[0]), O_RDWR | O_NOCTTY);
  } else {
    EXPECT_EQ(::pipe(err), 0);
  }
  const int devNull = ::open("/dev/null", O_RDONLY);

  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(devNull, STDIN_FILENO);
    ::dup2(out[1], STDOUT_FILENO);
    ::dup2(err[1], STDERR_FILENO);
    for (const int fd : {out[0], out[1], err[0], err[1], devNull}) ::close(fd);
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  for (const int fd : {out[1], err[1], devNull}) ::close(fd);
  KivRun run;
  readToEnd(out[0], run.out, err[0], run.err);
  int status = 0;
  ::waitpid(child, &status, 0);
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return run;
}

void CommandTest::writeNotes(int count) {
  KivStorage storage;
  storage.registerMapper(&NoteMap::kivClass());
  storage.registerDbPath(String(path));
  storage.configDataBase(Array{Value(&Note::kivClass())});
  const MutableArray notes = MutableArray::array();
  for (int id = 1; id <= count; ++id) {
    Ref<Note> note = makeRef<Note>();
    note->setNoteId(id);
    note->setText(String("note " + std::to_string(id)));
    if (id % 2 == 0) note->setTags(Array{"a", "b"});
    note->setScore(id / 2.0);
    notes.addObject(Value(note));
  }
  storage.setDbModels(notes, Note::kivClass());
  KivCache cache;
  cache.switchDatabase(storage.database());
  EXPECT_TRUE(cache.saveJsonCache(String("[{\"id\":1}]"), Note::kivClass()));
}

void CommandTest::runSql(std::string_view sql) {
  EXPECT_TRUE(OxSimpleDatabase::databaseWithPath(String(path))->executeUpdate(sql)) << sql;
}

std::string CommandTest::queryText(std::string_view sql) {
  const OxDbRows rows = OxSimpleDatabase::databaseWithPath(String(path))->executeQuery(sql);
  if (rows.empty() || rows.front()->dataDict().empty()) return "";
  return rows.front()->dataDict().begin()->value.description();
}

}  // namespace kiv::cli::testing
