// The fixture of the command's tests: the built `kiv` run as a child process, and database files
// written through KivStorage.
#ifndef KIV_TOOLS_KIV_COMMAND_TEST_SUPPORT_HPP_
#define KIV_TOOLS_KIV_COMMAND_TEST_SUPPORT_HPP_

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kiv/model/class_map.hpp"
#include "kiv/model/model.hpp"
#include "kiv/testing/test_support.hpp"

namespace kiv::cli::testing {

// What a run of the command left behind.
struct KivRun {
  int exitCode = -1;
  std::string out;
  std::string err;
};

// Runs the built command with the arguments, stdin from /dev/null. With stderrOnTerminal its
// stderr is a pseudo-terminal (what it writes there is still returned in `err`).
KivRun runKiv(const std::vector<std::string>& arguments, bool stderrOnTerminal = false);

// A note: a 64-bit key, a text, tags (stored as JSON text) and a score.
class Note : public KivModel {
  KIV_MODEL(Note, KivModel)
  KIV_PROPERTY(std::int64_t, noteId, setNoteId)
  KIV_PROPERTY(String, text, setText)
  KIV_PROPERTY(Array, tags, setTags)
  KIV_PROPERTY(double, score, setScore)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"noteId", "id"}, {"text", "text"}, {"tags", "tags"}, {"score", "score"}};
  }
  static Value kiv_key() { return "noteId"; }
  static Array kiv_dbStoreProperty() { return {"noteId", "text", "tags", "score"}; }
};

// Notes are stored at version 3.
class NoteMap : public KivClassMap {
  KIV_CLASS_MAP(NoteMap, KivClassMap)

 public:
  static std::int64_t kiv_Version() { return 3; }
  static const ModelClass* classMap(std::int64_t type) { return type == 1 ? &Note::kivClass() : nullptr; }
};

inline constexpr std::string_view kNoteTable = "kiv_note_v3";

class CommandTest : public ::testing::Test {
 protected:
  // Writes notes 1 to `count` through KivStorage into `path` (text "note <id>", tags ["a", "b"]
  // for even ids, score id / 2), and one JSON cache entry for the class.
  void writeNotes(int count);
  // Runs the statement on the file through a connection of its own.
  void runSql(std::string_view sql);
  // The first column of the first row of the query, as text ("" for none).
  std::string queryText(std::string_view sql);

  kiv::testing::TempDir dir;
  std::string path = dir.file("notes.db");
};

}  // namespace kiv::cli::testing

#endif  // KIV_TOOLS_KIV_COMMAND_TEST_SUPPORT_HPP_
