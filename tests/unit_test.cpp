// What the command line does not reach: the product's functions, called one by one.
#include "conf/conf_file.h"
#include "conf/list_words.h"
#include "conf/load_config.h"
#include "base/record_chain.h"
#include "conf/vantor_bin.h"
#include "include/debug.h"
#include "util/utils.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

// A folder for the files of one test.
class Files : public testing::Test {
  protected:
    Files() { folder = mkdtemp(name.data()); }
    ~Files() override { fs::remove_all(folder); }
    std::string store(const std::string& text) {
        std::ofstream(folder + "/f", std::ios::binary) << text;
        return folder + "/f";
    }
    std::string read() {
        std::ifstream file(folder + "/f", std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string name = fs::temp_directory_path() / "tavrogen-unit.XXXXXX";
    std::string folder;
};

TEST(ListWords, TakeOneFieldAndMoveOverItsSeparator) {
    const struct {
        std::string line, field;
        size_t size;
        int moved;
    } rows[] = {
        {"abc<>def", "abc", 60, 5},        {"abc", "abc", 60, 5},       {"", "", 60, 2},
        {"abcdef<>x", "abc", 4, 8},        {"a<b<>c", "a", 60, 3},      {">x", "", 60, 2},
        {"\xff\x80<>", "\xff\x80", 60, 4}, {"last\n", "last\n", 60, 7}, {"abc<>", "", 1, 5},
    };
    for (const auto& row : rows) {
        const char* const line = row.line.c_str();
        std::string field(64, '#');
        EXPECT_EQ(get_words(line, field.data(), static_cast<int>(row.size)) - line, row.moved);
        EXPECT_EQ(field.c_str(), row.field) << line;
        EXPECT_EQ(field[row.size], '#') << line;
        char* whole = nullptr;
        EXPECT_EQ(get_words_with_allocate(line, &whole) - line, row.moved);
        EXPECT_EQ(whole, row.line.substr(0, row.line.find_first_of("<>")));
        free(whole);
    }
    CaptureStdout();
    EXPECT_EQ(get_words_with_allocate(get_words(nullptr, nullptr, 9), nullptr), nullptr);
    EXPECT_EQ(GetCapturedStdout(),
              ">get_words:src is NULL.\n>get_words_with_allocate:src is NULL.\n");
}

TEST_F(Files, KeyedLookupsConvertTheFirstValueOfTheExactKey) {
    const struct {
        std::string value, cut;
        int on, number, byte;
    } rows[] = {
        {"on", "on", 1, 0, 0},
        {"on ", "on ", 0, 0, 0},
        {" -12a", " -12a", 0, -12, 244},
        {"300", "300", 0, 300, 44},
        {"=a=b=c=d", "=a=b=c=", 0, 0, 0},
        {"99999999999", "9999999", 0, 2147483647, 255},
    };
    for (const auto& row : rows) {
        const std::string path = store(" k=1\nkk=1\nk =1\nk\nk=" + row.value + "\nk=on\nlast=on");
        const char* const file = path.c_str();
        int number = 7;
        unsigned char byte = 7;
        char cut[8] = "before";
        EXPECT_EQ(LoadConfFileOnOff(file, "k"), row.on) << row.value;
        EXPECT_EQ(LoadConfFileOnOff(file, "last"), 1);
        EXPECT_EQ(LoadConfFileOnOff(file, "las"), -1);
        EXPECT_EQ(LoadConfFileInt(file, "k", &number) + LoadConfFileInt("/no", "k", &number), -1);
        EXPECT_EQ(LoadConfFileChar(file, "k", &byte) + LoadConfFileChar("/", "k", &byte), -1);
        EXPECT_EQ(LoadConfFileString(file, "k", cut) + LoadConfFileString(file, "K", cut), -1);
        EXPECT_EQ(number, row.number) << row.value;
        EXPECT_EQ(byte, row.byte) << row.value;
        EXPECT_EQ(cut, row.cut);
    }
}

TEST_F(Files, AStoredValueChangesItsLineAlone) {
    const std::string other = std::string("#\0\xff ==\n\n", 8) + std::string(9000, 'x') + "\n";
    const struct {
        std::string before, key, value, after;  // empty: refused
    } rows[] = {
        {other + "k=1\nk=2\n", "k", "new", other + "k=new\nk=2\n"},
        {other + "kk=1", "k", " a=b ", other + "kk=1\nk= a=b \n"},
        {"", "k", "", "k=\n"},
        {other, "k", "v\nw=1", ""},
        {other, "k=", "v", ""},
        {other, "k\n", "v", ""},
    };
    for (const auto& [before, key, value, after] : rows) {
        const std::string file = store(before);
        const bool refused = after.empty();
        CaptureStdout();
        EXPECT_EQ(SaveConfFileString(file.c_str(), key.c_str(), value.c_str()), refused ? -1 : 0);
        EXPECT_EQ(GetCapturedStdout(), "SaveConfFileString:key" + std::string(refused ? "=" : "") +
                                           "[" + key + "] value[" + value + "]" +
                                           (refused ? " save fail in " + file + ".\n" : "\n"));
        EXPECT_EQ(read(), refused ? before : after);
    }
}

TEST_F(Files, AStoredFileKeepsItsModeItsOwnerAndItsLink) {
    const std::string file = store("k=1\n");
    fs::create_symlink("f", folder + "/link");
    chmod(file.c_str(), 0640);
    const bool owned = chown(file.c_str(), 12, 34) == 0;  // only root may
    for (const std::string path : {"/link", "/new"})
        EXPECT_EQ(set_StringbyKey((folder + path).c_str(), "k", "2"), 0);
    for (const std::string path : {"", "/no/f"})
        EXPECT_NE(set_StringbyKey((folder + path).c_str(), "k", "2"), 0);
    EXPECT_TRUE(fs::is_symlink(folder + "/link"));
    EXPECT_EQ(read(), "k=2\n");
    struct stat status = {};
    stat(file.c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0640);
    EXPECT_TRUE(!owned || (status.st_uid == 12 && status.st_gid == 34));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 3);  // nothing temporary
}

TEST_F(Files, AShareListIsDumped) {
    SHARE_INFO shares = {};
    load_shareinfo_file(store("a<>v<><><><><><>1<>257<>0<>1<><>1\n\nb<>w").c_str(), &shares);
    CaptureStdout();
    dump_shareinfo(&shares);
    EXPECT_EQ(GetCapturedStdout(),
              "0:a:v smb=1 atalk=1 ftp=0 rsync=1 RO=1\n"
              "1:\n: smb=0 atalk=0 ftp=0 rsync=0 RO=0\n"
              "2:b:w smb=0 atalk=0 ftp=0 rsync=0 RO=0\n");
    close_shareinfo(&shares);
}

TEST(Chains, AreReleasedAlsoWhereThereIsNothing) {
    EXPECT_EQ(load_diskinfo_array(nullptr, 2), -1);
    MSDFS_INFO msdfs = {};
    close_msdfsinfo(&msdfs);
    GROUP_INFO groups = {};
    grow(grow(&groups))->GroupUser = strdup("m");
    debug = 1;
    CaptureStdout();
    close_groupinfo(&groups);
    debug = 0;
    EXPECT_EQ(GetCapturedStdout(),
              "close_groupinfo in load_config: group count is 2.\n"
              "close_groupinfo in load_config: close groupinfo.\n");
}

TEST(Strings, AreReplacedAndCut) {
    char text[32] = "banana";
    CaptureStdout();
    str_replace(text, "a", "bb");
    EXPECT_EQ(GetCapturedStdout(),
              "[waring! utils 187] this routine have a over flow probabirity.\n");
    EXPECT_STREQ(text, "bbbnbbnbb");
    str_replace(text, "bb", "");
    str_replace(text, "^", "pre-");
    EXPECT_STREQ(text, "pre-bnn");
    const struct {
        std::string text, cut;
        int length;
    } rows[] = {
        {"abc\x82\xa0", "abc ", 4},
        {"\x82\xa0\x82\xa0", "\x82\xa0", 2},
        {"ab\xb1z", "ab\xb1", 3},
        {"ab", "ab", 3},
    };
    for (auto row : rows) {
        str_cut_sjis(row.text.data(), row.length);
        EXPECT_STREQ(row.text.c_str(), row.cut.c_str());
    }
}

TEST(Shaper, LeavesWhatItDoesNotKnow) {
    char* lists[] = {str_duplicate("a+b,@c"), str_duplicate(""), nullptr};
    for (char*& list : lists) {
        EXPECT_EQ(VntSambaFormatShaper(&list, list && *list ? 2 : user_list), 1);
        EXPECT_STREQ(list, list == lists[0] ? "a+b,@c" : list == nullptr ? nullptr : "");
        free(list);
    }
}
