// Tests of path components, joining, cleaning and image-sequence names.
#include "q7/files/file_names.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>

#include <functional>
#include <string>

#include "tests/support/child_process.h"

namespace {

// What `body` returns, computed in a child process: temp_path is process-wide, so each test
// of it starts from a fresh copy.
std::string in_child(const std::function<std::string()>& body) {
  const auto result = q7test::run_in_child([&] { fputs(body().c_str(), stdout); });
  EXPECT_TRUE(result.exited_with(0)) << describe(result);
  return result.out;
}

// A result as text: "null", or the text with " (temp_path)" when it lies there.
std::string shown(const char* result) {
  if (result == nullptr) return "null";
  return std::string("\"") + result + "\"" + (result == temp_path ? " (temp_path)" : "");
}

TEST(FileNameLastComponent, PointsAfterTheLastSlash) {
  const struct {
    const char* path;
    size_t offset;
  } cases[] = {{"dir/", 4}, {"name", 0}, {"/a/b", 3}, {"", 0}, {"/", 1}, {"a//b", 3}, {".d/", 3}};
  for (const auto& c : cases) {
    std::string path = c.path;
    EXPECT_EQ(file_name_lastcomponent(path.data()), path.data() + c.offset) << "path=" << c.path;
  }
  EXPECT_EQ(file_name_lastcomponent(nullptr), nullptr);
}

TEST(FileNameExtension, PointsAfterTheLastDotOrAtTheStaticEmptyText) {
  const struct {
    const char* name;
    int offset;  // -1: the static empty text
  } cases[] = {{"archive.tar.gz", 12}, {"a.d/file", 2}, {"name.", 5},
               {".profile", 1},        {"README", -1},  {"", -1}};
  char* empty = file_name_extension(nullptr);
  ASSERT_NE(empty, nullptr);
  EXPECT_STREQ(empty, "");
  for (const auto& c : cases) {
    std::string name = c.name;
    char* expected = c.offset < 0 ? empty : name.data() + c.offset;
    EXPECT_EQ(file_name_extension(name.data()), expected) << "name=" << c.name;
  }
  EXPECT_STREQ(empty, "");
}

TEST(FileNamePathBuffer, SplitsAndJoinsIntoTempPathAndCopiesToOut) {
  const std::string out = in_child([] {
    std::string text;
    char out[4096];
    auto both = [&](const char* result) {
      text += shown(result) + " out=" + (strcmp(out, "unset") == 0 ? "unset" : out) + "\n";
    };
    for (const char* path : {"/usr/local/bin", "a//b", "a/b/", "/file", "name", "/data/data", ""}) {
      strcpy(out, "unset");
      both(file_name_before_lastcomponent(const_cast<char*>(path), out));
    }
    text += shown(file_name_before_lastcomponent(nullptr, nullptr)) + "\n";
    const struct {
      const char* path;
      int index;
    } components[] = {{"/usr/local/bin", 0},
                      {"/usr/local/bin", 2},
                      {"/usr/local/bin", 3},
                      {"/", 0},
                      {"a/b", 2},
                      {"a//b", 1},
                      {"a//b", 2},
                      {"//a", 0},
                      {"a/b/", 1},
                      {"a/b/", 2},
                      {"a", -1},
                      {"", 0},
                      {nullptr, 0}};
    for (const auto& c : components) {
      strcpy(out, "unset");
      both(file_name_component(const_cast<char*>(c.path), c.index, out));
    }
    char dir[] = "dir/";
    char name[] = "name";
    char empty[] = "";
    text += shown(file_name_concat(nullptr, name)) + shown(file_name_concat(empty, name)) +
            shown(file_name_concat(dir, name)) + shown(file_name_concat(name, nullptr)) + "\n";
    return text;
  });
  EXPECT_EQ(
      out,
      "\"/usr/local\" (temp_path) out=/usr/local\n"
      "\"a/\" (temp_path) out=a/\n"
      "\"a/b\" (temp_path) out=a/b\n"
      "\"\" (temp_path) out=\n"
      "\"\" (temp_path) out=\n"
      "\"/data\" (temp_path) out=/data\n"
      "\"\" (temp_path) out=\n"
      "\"\" (temp_path)\n"
      "\"/usr\" (temp_path) out=/usr\n"
      "\"bin\" (temp_path) out=bin\n"
      "null out=unset\n"
      "null out=unset\n"
      "null out=unset\n"
      "\"\" (temp_path) out=\n"
      "\"b\" (temp_path) out=b\n"
      "\"/\" (temp_path) out=/\n"
      "\"b\" (temp_path) out=b\n"
      "null out=unset\n"
      "null out=unset\n"
      "null out=unset\n"
      "null out=unset\n"
      "\"name\" (temp_path)\"name\" (temp_path)\"dir//name\" (temp_path)\"name/\" (temp_path)\n");
}

// A result passed straight back as the next argument, and results too long for the buffer.
TEST(FileNamePathBuffer, TakesItsOwnResultsBackAndCutsAt4095) {
  const std::string out = in_child([] {
    char path[] = "/srv/app/Logs/server.log";
    char extra[] = "old";
    std::string text = file_name_concat(file_name_before_lastcomponent(path, nullptr), extra);
    text += " " + std::string(file_name_before_lastcomponent(temp_path, nullptr));
    text += " " + std::string(file_name_component(temp_path, 1, nullptr));
    text += " " + std::string(file_name_concat(extra, temp_path));
    std::string long_dir(3000, 'd');
    std::string long_name(3000, 'n');
    const size_t joined = strlen(file_name_concat(long_dir.data(), long_name.data()));
    const size_t before =
        strlen(file_name_before_lastcomponent((long_name + "/x").data(), nullptr));
    const size_t component = strlen(file_name_component((long_dir + long_name).data(), 0, nullptr));
    return text + " " + std::to_string(joined) + " " + std::to_string(before) + " " +
           std::to_string(component) + " " + std::to_string(static_cast<int>(temp_path[4095]));
  });
  EXPECT_EQ(out, "/srv/app/Logs/old /srv/app/Logs app old/app 4095 3000 4095 0");
}

TEST(FileNameAddComponent, AppendsWithOneSlashInPlace) {
  const struct {
    const char* path;
    const char* component;
    const char* result;
  } cases[] = {{"", "x", "x"},  {"a", "b", "a/b"}, {"a/", "b", "a//b"},
               {"a", "", "a/"}, {"/", "b", "//b"}, {"a", nullptr, "a"}};
  for (const auto& c : cases) {
    char path[32];
    strcpy(path, c.path);
    EXPECT_EQ(file_name_add_component(path, const_cast<char*>(c.component)), path);
    EXPECT_STREQ(path, c.result) << "path=" << c.path;
  }
  char self[16] = "ab";
  EXPECT_STREQ(file_name_add_component(self, self), "ab/ab");
  char end[16] = "ab";
  EXPECT_STREQ(file_name_add_component(end, end + 2), "ab/");
  char component[] = "x";
  EXPECT_EQ(file_name_add_component(nullptr, component), nullptr);
}

TEST(FileNameClean, ReplacesWhiteSpaceThenSlashes) {
  const struct {
    const char* name;
    int space;
    int slash;
    const char* result;
  } cases[] = {{"my file/x", '_', '-', "my_file-x"},
               {"a b/c", '/', '-', "a-b-c"},
               {"a b/c", 0, '-', "a b-c"},
               {"a b/c", '_', 0, "a_b/c"},
               {"\t\n\v\f\r x", '.', 0, "......x"},
               {"a\xa0/", 0x17f, 0x1ff, "a\xa0\xff"},
               {"a b", 0, 0, "a b"}};
  for (const auto& c : cases) {
    std::string name = c.name;
    file_name_clean(name.data(), c.space, c.slash);
    EXPECT_EQ(name, c.result) << "name=" << c.name << " space=" << c.space;
  }
  file_name_clean(nullptr, '_', '-');
}

TEST(ImageFileName, ParsesBaseDigitsAndExtensionOfTheFinalComponent) {
  const struct {
    const char* name;
    int result;
    const char* base;
    const char* digits;
    const char* extension;
  } cases[] = {{"/images/shot0042.tif", 4, "shot", "0042", ".tif"},
               {"shot.tif", 0, "shot", "", ".tif"},
               {"0001.tif", 4, "", "0001", ".tif"},
               {"img.0001.tif", 4, "img.", "0001", ".tif"},
               {"a.b.tif", 0, "a.b", "", ".tif"},
               {"dir.7/x12.", 2, "x", "12", "."},
               {"..tif", 0, ".", "", ".tif"},
               {"v2/9.tar.gz", 0, "9.tar", "", ".gz"},
               {".tif", -1, "", "", ""},
               {"shot", -1, "", "", ""},
               {"dir.x/shot", -1, "", "", ""},
               {"dir/.tif", -1, "", "", ""},
               {"", -1, "", "", ""}};
  for (const auto& c : cases) {
    std::string name = c.name;
    char base[32] = "unset";
    char digits[32] = "unset";
    char extension[32] = "unset";
    const int result = file_name_parse_image_file_name(name.data(), base, extension, digits);
    EXPECT_EQ(result, c.result) << "name=" << c.name;
    EXPECT_EQ(std::string(base) + "|" + digits + "|" + extension,
              std::string(c.base) + "|" + c.digits + "|" + c.extension)
        << "name=" << c.name;
    EXPECT_EQ(name, c.name);
  }
  char name[] = "shot0042.tif";
  char base[16] = "unset";
  char extension[16] = "unset";
  EXPECT_EQ(file_name_parse_image_file_name(name, base, extension, nullptr), 4);
  EXPECT_EQ(file_name_parse_image_file_name(nullptr, base, extension, nullptr), -1);
  EXPECT_EQ(file_name_parse_image_file_name(name, nullptr, extension, nullptr), -1);
  EXPECT_EQ(file_name_parse_image_file_name(name, base, nullptr, nullptr), -1);
  EXPECT_STREQ(extension, ".tif");
}

TEST(ImageFileName, FormatsWithZeroPaddedFrameNumbers) {
  const struct {
    const char* base;
    const char* extension;
    int frame;
    int width;
    const char* result;
  } cases[] = {{"shot", ".tif", 43, 4, "shot0043.tif"},
               {"shot", ".tif", 12345, 4, "shot12345.tif"},
               {"shot", ".tif", 43, 0, "shot.tif"},
               {"shot", "tif", 43, -3, "shot.tif"},
               {"shot", "tif", 7, 3, "shot007.tif"},
               {"shot", ".tif", -5, 4, "shot-0005.tif"},
               {"", "..x", 1, 1, "1..x"},
               {"a", "", 0, 2, "a00."}};
  for (const auto& c : cases) {
    char out[64] = "unset";
    const int written = file_name_format_image_file_name(
        const_cast<char*>(c.base), const_cast<char*>(c.extension), c.frame, c.width, out);
    EXPECT_STREQ(out, c.result) << "frame=" << c.frame << " width=" << c.width;
    EXPECT_EQ(written, static_cast<int>(strlen(c.result))) << "frame=" << c.frame;
  }
  char out[16] = "unset";
  char text[] = "x";
  EXPECT_EQ(file_name_format_image_file_name(nullptr, text, 1, 1, out), -1);
  EXPECT_EQ(file_name_format_image_file_name(text, nullptr, 1, 1, out), -1);
  EXPECT_EQ(file_name_format_image_file_name(text, text, 1, 1, nullptr), -1);
  EXPECT_STREQ(out, "unset");
}

}  // namespace
