// What the command line does not reach: the product's functions, called one by one.
#include "conf/conf_file.h"
#include "conf/list_words.h"
#include "conf/load_config.h"
#include "conf/record_chain.h"
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
        int size, moved;
    } rows[] = {
        {"abc<>def", "abc", 60, 5},        {"abc", "abc", 60, 5},       {"", "", 60, 2},
        {"abcdef<>x", "abc", 4, 8},        {"a<b<>c", "a", 60, 3},      {">x", "", 60, 2},
        {"\xff\x80<>", "\xff\x80", 60, 4}, {"last\n", "last\n", 60, 7}, {"abc<>", "", 1, 5},
    };
    for (const auto& row : rows) {
        std::string field(64, '#');
        EXPECT_EQ(get_words(row.line.c_str(), field.data(), row.size) - row.line.c_str(),
                  row.moved);
        EXPECT_EQ(field.c_str(), row.field) << row.line;
        EXPECT_EQ(field[static_cast<size_t>(row.size)], '#') << row.line;
        char* allocated = nullptr;
        EXPECT_EQ(get_words_with_allocate(row.line.c_str(), &allocated) - row.line.c_str(),
                  row.moved);
        EXPECT_EQ(allocated, row.line.substr(0, row.line.find_first_of("<>")));
        free(allocated);
    }
    char untouched[] = "untouched";
    char* text = untouched;
    CaptureStdout();
    EXPECT_EQ(get_words_with_allocate(get_words(nullptr, untouched, 9), &text), nullptr);
    EXPECT_EQ(GetCapturedStdout(),
              ">get_words:src is NULL.\n>get_words_with_allocate:src is NULL.\n");
    EXPECT_STREQ(text, "untouched");
}

TEST_F(Files, KeyedLookupsConvertTheFirstValueOfTheExactKey) {
    const std::string file = store(
        " k=0\nkk=0\nk =0\nk\nn= -12abc\nc=300\nk=on\nk=off\nOn=on \nx=" + std::string(5000, '=') +
        "\nbig=99999999999\nw=abc\nlast=a=b");
    char value[8] = "before";
    int number = 7;
    unsigned char byte = 7;
    CaptureStdout();
    EXPECT_EQ(LoadConfFileOnOff(file.c_str(), "k"), 1);
    EXPECT_EQ(LoadConfFileOnOff(file.c_str(), "On"), 0);
    EXPECT_EQ(LoadConfFileString(file.c_str(), "x", value), 0);
    EXPECT_STREQ(value, "=======");
    EXPECT_EQ(LoadConfFileString(file.c_str(), "last", value), 0);
    EXPECT_STREQ(value, "a=b");
    EXPECT_EQ(LoadConfFileChar(file.c_str(), "c", &byte), 0);
    EXPECT_EQ(byte, 44);
    for (const auto& [key, expected] : {std::pair("n", -12), {"w", 0}, {"big", 2147483647}}) {
        EXPECT_EQ(LoadConfFileInt(file.c_str(), key, &number), 0);
        EXPECT_EQ(number, expected);
    }
    EXPECT_EQ(GetCapturedStdout(), "");
    CaptureStdout();
    EXPECT_EQ(LoadConfFileOnOff(file.c_str(), "las"), -1);
    EXPECT_EQ(LoadConfFileString("/no", "k", value), -1);
    EXPECT_EQ(LoadConfFileInt("/", "k", &number), -1);
    EXPECT_EQ(LoadConfFileChar(file.c_str(), "last=a", &byte), -1);
    EXPECT_EQ(GetCapturedStdout(), "LoadConfFileOnOff:key=[las] not found in " + file +
                                       ".\nLoadConfFileString:key=[k] not found in /no.\n"
                                       "LoadConfFileInt:key=[k] not found in /.\n"
                                       "LoadConfFileChar:key=[last=a] not found in " +
                                       file + ".\n");
    EXPECT_EQ(std::string(value) + std::to_string(number - byte), "a=b2147483603");
}

TEST_F(Files, AStoredValueChangesItsLineAlone) {
    const std::string other = std::string("#\0\xff ==\n\n", 8) + std::string(9000, 'x') + "\n";
    const struct {
        std::string before, key, value;
        int result;
        std::string after;
    } rows[] = {
        {other + "k=1\nk=2\n", "k", "new", 0, other + "k=new\nk=2\n"},
        {other + "kk=1", "k", " a=b ", 0, other + "kk=1\nk= a=b \n"},
        {"k=1", "k", "", 0, "k=\n"},
        {"", "k", "v", 0, "k=v\n"},
        {other, "k", "v\nw=1", -1, other},
        {other, "k=", "v", -1, other},
        {other, "k\n", "v", -1, other},
    };
    for (const auto& row : rows) {
        const std::string file = store(row.before);
        CaptureStdout();
        EXPECT_EQ(SaveConfFileString(file.c_str(), row.key.c_str(), row.value.c_str()), row.result);
        const std::string said = row.key + "] value[" + row.value;
        EXPECT_EQ(GetCapturedStdout(), row.result == 0 ? "SaveConfFileString:key[" + said + "]\n"
                                                       : "SaveConfFileString:key=[" + said +
                                                             "] save fail in " + file + ".\n");
        EXPECT_EQ(read(), row.after) << row.key << "=" << row.value;
    }
}

TEST_F(Files, AStoredFileKeepsItsModeItsOwnerAndItsLink) {
    const std::string link = folder + "/link";
    const std::string file = store("k=1\n");
    symlink("f", link.c_str());
    chmod(file.c_str(), 0640);
    const bool owned = chown(file.c_str(), 12, 34) == 0;  // only root may
    EXPECT_EQ(set_StringbyKey(link.c_str(), "k", "2"), 0);
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(read(), "k=2\n");
    struct stat status = {};
    stat(file.c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0640);
    EXPECT_EQ(status.st_uid, owned ? 12 : getuid());
    EXPECT_EQ(status.st_gid, owned ? 34 : getgid());
    EXPECT_EQ(set_StringbyKey((folder + "/new").c_str(), "k", "v"), 0);
    for (const std::string& path : {folder, folder + "/no/f"})
        EXPECT_NE(set_StringbyKey(path.c_str(), "k", "v"), 0) << path;
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 3);  // nothing temporary
}

TEST_F(Files, AShareListIsDumpedAndReleased) {
    SHARE_INFO shares;
    const std::string file = store("a<>v<><><><><><>1<>257<>0<>1<><>1\n\nb<>w");
    EXPECT_EQ(load_shareinfo_file(file.c_str(), &shares), 3);
    CaptureStdout();
    dump_shareinfo(&shares);
    EXPECT_EQ(GetCapturedStdout(),
              "0:a:v smb=1 atalk=1 ftp=0 rsync=1 RO=1\n"
              "1:\n: smb=0 atalk=0 ftp=0 rsync=0 RO=0\n"
              "2:b:w smb=0 atalk=0 ftp=0 rsync=0 RO=0\n");
    close_shareinfo(&shares);
}

TEST(Chains, AreReleasedAlsoWhereThereIsNothing) {
    SYS_INFO info = {};
    EXPECT_EQ(load_diskinfo_array(&info, 2), -1);
    EXPECT_EQ(load_diskinfo_array(&info, -1), -1);
    MSDFS_INFO msdfs = {};
    close_msdfsinfo(&msdfs);
    GROUP_INFO groups = {};
    for (int i = 0; i < 2; ++i)
        last_of(&groups)->GroupUser = strdup("m"), grow(last_of(&groups));
    OFFLINE offline = {};
    debug = 1;
    CaptureStdout();
    close_groupinfo(&groups);
    close_offlinefile(grow(&offline)->prev);
    debug = 0;
    const std::string out = GetCapturedStdout();
    EXPECT_TRUE(
        out.starts_with("close_groupinfo in load_config: group count is 2.\n"
                        "close_groupinfo in load_config: close groupinfo.\n"
                        "close_offlinefile in load_config: free memory for OFFLINE"));
    EXPECT_EQ(offline.next, nullptr);
}

TEST(Strings, AreReplacedAndCut) {
    char text[32] = "banana";
    CaptureStdout();
    EXPECT_EQ(str_replace(text, "a", "bb"), 1);
    EXPECT_EQ(GetCapturedStdout(),
              "[waring! utils 187] this routine have a over flow probabirity.\n");
    EXPECT_STREQ(text, "bbbnbbnbb");
    str_replace(text, "bb", "");
    EXPECT_STREQ(text, "bnn");
    str_replace(text, "^", "pre-");
    EXPECT_STREQ(text, "pre-bnn");
    const struct {
        std::string text;
        int length;
        std::string cut;
    } rows[] = {{"abc\x82\xa0", 4, "abc "}, {"\x82\xa0\x82\xa0", 2, "\x82\xa0"},
                {"\xe0\x81z", 1, " "},      {"ab\xb1z", 3, "ab\xb1"},
                {"abc", 3, "abc"},          {"ab", 3, "ab"}};
    for (auto row : rows) {
        str_cut_sjis(row.text.data(), row.length);
        EXPECT_STREQ(row.text.c_str(), row.cut.c_str());
    }
}

TEST(Shaper, LeavesWhatItDoesNotKnow) {
    char* list = str_duplicate("a+b,@c");
    EXPECT_EQ(VntSambaFormatShaper(&list, 2), 1);
    EXPECT_STREQ(list, "a+b,@c");
    for (const auto* shaped : {"@a+\"b\",@c", "@a+\"b\",@c"}) {
        EXPECT_EQ(VntSambaFormatShaper(&list, group_list), 0);
        EXPECT_STREQ(list, shaped);
    }
    *list = '\0';
    EXPECT_EQ(VntSambaFormatShaper(&list, user_list), 1);
    free(list);
    list = nullptr;
    EXPECT_EQ(VntSambaFormatShaper(&list, user_list), 1);
}
