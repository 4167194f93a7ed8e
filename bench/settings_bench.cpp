// Settings in a preference file beside the same in a database of one table.
#ifdef KXWCMN_WITH_SQLITE
#include <sqlite3.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/table.h"
#include "kxwcmn/persist/preferencefile.h"

namespace {

using benchmark::State;
namespace fs = std::filesystem;

constexpr int kCount = 10000;

const std::vector<std::string>& Labels() {
  static const std::vector<std::string> labels = [] {
    std::vector<std::string> made;
    for (int i = 0; i < kCount; ++i) made.push_back("window " + std::to_string(i) + " left");
    return made;
  }();
  return labels;
}

std::string Place(const char* name) { return (fs::current_path() / name).string(); }

// --- Ours ----------------------------------------------------------------------------------------

KXFilePath Path() {
  KXFilePath path;
  path.SetNativePath(Place("settings_bench.pff").c_str());
  return path;
}

/// Sets every `step`-th label.
void SetOurs(int step, int offset) {
  KXPreferenceFile file;
  file.OpenPreferenceFile(1, Path());
  for (int i = 0; i < kCount; i += step) {
    file.SetPreferenceFile(Labels()[static_cast<std::size_t>(i)].c_str(), i + offset);
  }
  file.ClosePreferenceFile();
}

bool ReadOurs(int offset, int step) {
  KXPreferenceFile file;
  file.OpenPreferenceFile(0, Path());
  bool isRight = true;
  for (int i = 0; i < kCount; ++i) {
    int value = -1;
    file.GetPreferenceFile(Labels()[static_cast<std::size_t>(i)].c_str(), value);
    isRight &= value == i + (i % step == 0 ? offset : 0);
  }
  return isRight;
}

// --- The database --------------------------------------------------------------------------------

class Database {
 public:
  Database() {
    sqlite3_open(Place("settings_bench.db").c_str(), &handle_);
    Run("PRAGMA synchronous=FULL");
    Run("CREATE TABLE IF NOT EXISTS settings (label TEXT PRIMARY KEY, value INTEGER)");
  }
  ~Database() { sqlite3_close(handle_); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  void Set(int step, int offset) {
    Run("BEGIN");
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(handle_, "INSERT OR REPLACE INTO settings VALUES (?, ?)", -1, &statement,
                       nullptr);
    for (int i = 0; i < kCount; i += step) {
      const std::string& label = Labels()[static_cast<std::size_t>(i)];
      sqlite3_bind_text(statement, 1, label.data(), static_cast<int>(label.size()), SQLITE_STATIC);
      sqlite3_bind_int(statement, 2, i + offset);
      sqlite3_step(statement);
      sqlite3_reset(statement);
    }
    sqlite3_finalize(statement);
    Run("COMMIT");
  }

  bool Read(int offset, int step) {
    Run("BEGIN");
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(handle_, "SELECT value FROM settings WHERE label = ?", -1, &statement,
                       nullptr);
    bool isRight = true;
    for (int i = 0; i < kCount; ++i) {
      const std::string& label = Labels()[static_cast<std::size_t>(i)];
      sqlite3_bind_text(statement, 1, label.data(), static_cast<int>(label.size()), SQLITE_STATIC);
      const int value =
          sqlite3_step(statement) == SQLITE_ROW ? sqlite3_column_int(statement, 0) : -1;
      isRight &= value == i + (i % step == 0 ? offset : 0);
      sqlite3_reset(statement);
    }
    sqlite3_finalize(statement);
    Run("COMMIT");
    return isRight;
  }

 private:
  void Run(const char* words) { sqlite3_exec(handle_, words, nullptr, nullptr, nullptr); }

  sqlite3* handle_ = nullptr;
};

void RemoveFiles() {
  for (const char* name : {"settings_bench.pff", "settings_bench.db"}) fs::remove(Place(name));
}

// --- What is measured ----------------------------------------------------------------------------

/// Makes the work ready outside the clock, and looks at its result there.
template <class Work>
void Measure(State& state, bool isNew, Work work) {
  bool isRight = true;
  for (auto _ : state) {
    state.PauseTiming();
    RemoveFiles();
    if (!isNew) {
      SetOurs(1, 0);
      Database().Set(1, 0);
    }
    state.ResumeTiming();
    isRight &= work();
  }
  if (!isRight) state.SkipWithError("wrong values");
  RemoveFiles();
}

void WriteOurs(State& state) {
  Measure(state, true, [] {
    SetOurs(1, 0);
    return true;
  });
}
void WriteTheirs(State& state) {
  Measure(state, true, [] {
    Database().Set(1, 0);
    return true;
  });
}
void MergeOurs(State& state) {
  Measure(state, false, [] {
    SetOurs(2, 7);
    return true;
  });
}
void MergeTheirs(State& state) {
  Measure(state, false, [] {
    Database().Set(2, 7);
    return true;
  });
}
void ReadAllOurs(State& state) {
  Measure(state, false, [] { return ReadOurs(0, 1); });
}
void ReadAllTheirs(State& state) {
  Measure(state, false, [] { return Database().Read(0, 1); });
}

const bool kAdded = kxw::bench::AddReal("10,000 settings written", 1, WriteOurs,
                                        "SQLite, one transaction", WriteTheirs) &&
                    kxw::bench::AddReal("5,000 settings merged into 10,000", 1, MergeOurs,
                                        "SQLite, one transaction", MergeTheirs) &&
                    kxw::bench::AddReal("10,000 settings read", 1, ReadAllOurs,
                                        "SQLite, one transaction", ReadAllTheirs);

}  // namespace
#endif
