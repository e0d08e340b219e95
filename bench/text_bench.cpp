// String table and command reader: appends, lookups against std::unordered_map, the spread
// of the hash index, the file form against plain fwrite/fread, and command lines per second.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "q7/text/command_reader.h"
#include "q7/text/string_table.h"

namespace {

constexpr int kEntries = 100000;
constexpr int kLookups = 1000;

char* text(const std::string& s) { return const_cast<char*>(s.c_str()); }

const std::vector<std::string>& file_names() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> made;
    char name[32];
    for (int i = 0; i < kEntries; ++i) {
      snprintf(name, sizeof name, "shot%04d.tif", i);
      made.emplace_back(name);
    }
    return made;
  }();
  return names;
}

// The system dictionary (Debian's wamerican, installed by scripts/setup bench), cut to
// kEntries words; empty when it is missing, which skips its rows.
const std::vector<std::string>& dictionary_words() {
  static const std::vector<std::string> words = [] {
    std::vector<std::string> read;
    std::ifstream in("/usr/share/dict/words");
    std::string word;
    while (read.size() < kEntries && std::getline(in, word)) read.push_back(word);
    return read;
  }();
  return words;
}

using Texts = const std::vector<std::string>& (*)();

bool have(benchmark::State& state, const std::vector<std::string>& texts) {
  if (!texts.empty()) return true;
  state.SkipWithError("no /usr/share/dict/words (scripts/setup bench installs it)");
  return false;
}

std::unique_ptr<Q7Star> table_of(const std::vector<std::string>& texts) {
  auto table = std::make_unique<Q7Star>();
  for (const auto& t : texts) table->add(text(t));
  return table;
}

// Positions spread over the whole table, the same for every lookup benchmark.
std::vector<int> lookup_positions(size_t size) {
  std::mt19937 random(42);
  std::uniform_int_distribution<size_t> pick(0, size - 1);
  std::vector<int> positions(kLookups);
  for (int& p : positions) p = static_cast<int>(pick(random));
  return positions;
}

void BM_StringTable_Add(benchmark::State& state, Texts texts_of) {
  const auto& texts = texts_of();
  if (!have(state, texts)) return;
  for (auto _ : state) {
    Q7Star table;
    for (const auto& t : texts) table.add(text(t));
    benchmark::DoNotOptimize(table.n());
  }
  state.SetItemsProcessed(state.iterations() * texts.size());
}
BENCHMARK_CAPTURE(BM_StringTable_Add, FileNames, file_names)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_StringTable_Add, Dictionary, dictionary_words)->Unit(benchmark::kMillisecond);

void find_all(benchmark::State& state, Texts texts_of, bool indexed) {
  const auto& texts = texts_of();
  if (!have(state, texts)) return;
  auto table = table_of(texts);
  if (indexed) table->hash();
  const auto positions = lookup_positions(texts.size());
  for (auto _ : state) {
    for (int p : positions) benchmark::DoNotOptimize(table->find(text(texts[p]), true));
  }
  state.SetItemsProcessed(state.iterations() * positions.size());
  if (indexed) state.counters["probes_per_find"] = table->get_find_stats(false);
}

void BM_StringTable_FindUnindexed(benchmark::State& state, Texts texts_of) {
  find_all(state, texts_of, false);
}
void BM_StringTable_FindIndexed(benchmark::State& state, Texts texts_of) {
  find_all(state, texts_of, true);
}
BENCHMARK_CAPTURE(BM_StringTable_FindUnindexed, FileNames, file_names)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_StringTable_FindUnindexed, Dictionary, dictionary_words)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_StringTable_FindIndexed, FileNames, file_names)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_StringTable_FindIndexed, Dictionary, dictionary_words)
    ->Unit(benchmark::kMicrosecond);

void BM_Peer_UnorderedMapFind(benchmark::State& state, Texts texts_of) {
  const auto& texts = texts_of();
  if (!have(state, texts)) return;
  std::unordered_map<std::string, int> map;
  for (size_t i = 0; i < texts.size(); ++i) map.emplace(texts[i], static_cast<int>(i));
  const auto positions = lookup_positions(texts.size());
  for (auto _ : state) {
    // Looked up from the same char* texts as the table, so the key is built each time.
    for (int p : positions) benchmark::DoNotOptimize(map.find(texts[p].c_str()));
  }
  state.SetItemsProcessed(state.iterations() * positions.size());
}
BENCHMARK_CAPTURE(BM_Peer_UnorderedMapFind, FileNames, file_names)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Peer_UnorderedMapFind, Dictionary, dictionary_words)
    ->Unit(benchmark::kMicrosecond);

// A scratch file in /tmp for the file benchmarks, holding `bytes` at first and removed at
// the end of each.
struct ScratchFile {
  explicit ScratchFile(const std::string& bytes = "") {
    FILE* out = fopen(path.c_str(), "wb");
    fwrite(bytes.data(), 1, bytes.size(), out);
    fclose(out);
  }
  ~ScratchFile() { unlink(path.c_str()); }
  std::string path = "/tmp/q7_text_bench_" + std::to_string(getpid());
};

// The bytes filewrite produces for a table of file names, built here for the peers.
std::string file_image(const std::vector<std::string>& texts) {
  const int32_t header[3] = {0, 0, static_cast<int32_t>(texts.size())};
  std::string image(reinterpret_cast<const char*>(header), sizeof header);
  for (const auto& t : texts) {
    const int32_t length = static_cast<int32_t>(t.size());
    image.append(reinterpret_cast<const char*>(&length), sizeof length);
    image += t;
  }
  return image;
}

void BM_StringTable_FileWrite(benchmark::State& state) {
  auto table = table_of(file_names());
  const ScratchFile file;
  for (auto _ : state) {
    if (!table->filewrite(text(file.path))) state.SkipWithError("filewrite failed");
  }
  state.SetBytesProcessed(state.iterations() * file_image(file_names()).size());
}
BENCHMARK(BM_StringTable_FileWrite)->Unit(benchmark::kMillisecond);

void BM_Peer_PlainFwrite(benchmark::State& state) {
  const std::string image = file_image(file_names());
  const ScratchFile file;
  for (auto _ : state) {
    FILE* out = fopen(file.path.c_str(), "wb+");
    const bool written = fwrite(image.data(), 1, image.size(), out) == image.size();
    if (fclose(out) != 0 || !written) state.SkipWithError("fwrite failed");
  }
  state.SetBytesProcessed(state.iterations() * image.size());
}
BENCHMARK(BM_Peer_PlainFwrite)->Unit(benchmark::kMillisecond);

void BM_StringTable_FileRead(benchmark::State& state) {
  auto table = table_of(file_names());
  const ScratchFile file;
  table->filewrite(text(file.path));
  for (auto _ : state) {
    std::unique_ptr<Q7Star> read(table->fileread(text(file.path)));
    if (read == nullptr) state.SkipWithError("fileread failed");
    // Releasing the table is not part of reading it.
    state.PauseTiming();
    read.reset();
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * file_image(file_names()).size());
}
BENCHMARK(BM_StringTable_FileRead)->Unit(benchmark::kMillisecond);

void BM_Peer_PlainFread(benchmark::State& state) {
  const std::string image = file_image(file_names());
  const ScratchFile file(image);
  std::string buffer(image.size(), '\0');
  for (auto _ : state) {
    FILE* in = fopen(file.path.c_str(), "rb");
    if (fread(buffer.data(), 1, buffer.size(), in) != buffer.size()) {
      state.SkipWithError("fread failed");
    }
    fclose(in);
  }
  state.SetBytesProcessed(state.iterations() * image.size());
}
BENCHMARK(BM_Peer_PlainFread)->Unit(benchmark::kMillisecond);

// The same bytes written the way a program writes this format by hand: one fwrite per
// field through stdio's own buffer.
void BM_Peer_FieldFwrite(benchmark::State& state) {
  const auto& texts = file_names();
  const ScratchFile file;
  const int32_t header[3] = {0, 0, static_cast<int32_t>(texts.size())};
  for (auto _ : state) {
    FILE* out = fopen(file.path.c_str(), "wb+");
    bool written = fwrite(header, sizeof header, 1, out) == 1;
    for (const auto& t : texts) {
      const int32_t length = static_cast<int32_t>(t.size());
      written = written && fwrite(&length, sizeof length, 1, out) == 1 &&
                fwrite(t.data(), 1, t.size(), out) == t.size();
    }
    if (fclose(out) != 0 || !written) state.SkipWithError("fwrite failed");
  }
  state.SetBytesProcessed(state.iterations() * file_image(texts).size());
}
BENCHMARK(BM_Peer_FieldFwrite)->Unit(benchmark::kMillisecond);

// The same bytes read field by field into one reused buffer, allocating nothing.
void BM_Peer_FieldFread(benchmark::State& state) {
  const std::string image = file_image(file_names());
  const ScratchFile file(image);
  char buffer[4096];
  for (auto _ : state) {
    FILE* in = fopen(file.path.c_str(), "rb");
    int32_t header[3];
    bool read = fread(header, sizeof header, 1, in) == 1;
    for (int i = 0; read && i < header[2]; ++i) {
      int32_t length;
      read = fread(&length, sizeof length, 1, in) == 1 && length >= 0 &&
             length < static_cast<int32_t>(sizeof buffer) &&
             fread(buffer, 1, length, in) == static_cast<size_t>(length);
    }
    fclose(in);
    if (!read) state.SkipWithError("fread failed");
  }
  state.SetBytesProcessed(state.iterations() * image.size());
}
BENCHMARK(BM_Peer_FieldFread)->Unit(benchmark::kMillisecond);

// Fifty commands of one and two words, as a console program of the family has them.
std::vector<tagSCOMMANDS> fifty_commands() {
  static std::vector<std::string> names;
  if (names.empty()) {
    const char* verbs[] = {"show", "set", "list", "load", "save"};
    const char* objects[] = {"status", "files", "users", "hosts", "limits",
                             "queue",  "jobs",  "disks", "log",   "version"};
    for (const char* verb : verbs) {
      for (const char* object : objects) names.push_back(std::string(verb) + " " + object);
    }
  }
  std::vector<tagSCOMMANDS> table;
  for (size_t i = 0; i < names.size(); ++i) {
    table.push_back({text(names[i]), static_cast<int>(i) + 1, text("help"), 0, 3, false});
  }
  return table;
}

void BM_CommandReader_Lines(benchmark::State& state) {
  auto table = fifty_commands();
  // Abbreviated, full and quoted forms with up to three arguments.
  const std::string script_lines[] = {"sh stat\n",         "set limits 10 20\n",
                                      "li fi \"*.tif\"\n", "load jobs a b c\n",
                                      "sa ver\n",          "show users x\n"};
  std::string script;
  constexpr int kLines = 6000;
  for (int i = 0; i < kLines; ++i) script += script_lines[i % 6];
  char* arguments[20];
  int count = 0;
  for (auto _ : state) {
    FILE* in = fmemopen(script.data(), script.size(), "r");
    int recognised = 0;
    while (get_command(table.data(), static_cast<int>(table.size()), in, nullptr, nullptr,
                       arguments, &count, 20, false) > 0) {
      ++recognised;
    }
    fclose(in);
    if (recognised != kLines) state.SkipWithError("a line was not recognised");
  }
  state.SetItemsProcessed(state.iterations() * kLines);
}
BENCHMARK(BM_CommandReader_Lines)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
