// What the command line does not reach: the product's functions, called one by one.
#include "conf/conf_file.h"
#include "conf/list_words.h"
#include "conf/load_config.h"
#include "conf/vantor_bin.h"
#include "include/debug.h"
#include "tests/private_mounts.h"
#include "util/mount_probe.h"
#include "util/utils.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using std::string;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

// tests/faults/fail_allocation.cpp: from now on, the allocation of that number fails; 0: none.
void fail_allocation(int number);

// A folder for the files of one test.
class Files : public testing::Test {
  protected:
    Files() { folder = mkdtemp(name.data()); }
    ~Files() override { fs::remove_all(folder); }
    string store(const string& text) {
        std::ofstream(folder + "/f", std::ios::binary) << text;
        return folder + "/f";
    }
    string read() {
        std::ifstream file(folder + "/f", std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    string name = fs::temp_directory_path() / "tavrogen-unit.XXXXXX";
    string folder;
};

TEST(ListWords, TakeOneFieldAndMoveOverItsSeparator) {
    const struct {
        string behaviour, line, field;
        size_t size;
        int moved;
    } rows[] = {
        {"a field and its separator", "abc<>def", "abc", 60, 5},
        {"the end of the line is passed like a separator", "abc", "abc", 60, 5},
        {"an empty line", "", "", 60, 2},
        {"a long field is cut, and passed whole", "abcdef<>x", "abc", 4, 8},
        {"a field that fits exactly", "abc<>x", "abc", 4, 5},
        {"a lone < takes the next byte with it", "a<b<>c", "a", 60, 3},
        {"so does a lone >", ">x", "", 60, 2},
        {"bytes beyond ASCII", "\xff\x80<>", "\xff\x80", 60, 4},
        {"a newline belongs to its field", "last\n", "last\n", 60, 7},
        {"no room but for the end", "abc<>", "", 1, 5},
    };
    for (const auto& row : rows) {
        const char* const line = row.line.c_str();
        string field(64, '#');
        EXPECT_EQ(get_words(line, field.data(), static_cast<int>(row.size)) - line, row.moved)
            << row.behaviour;
        EXPECT_EQ(field.c_str(), row.field) << row.behaviour;
        EXPECT_EQ(field[row.size], '#') << row.behaviour;
        char* whole = nullptr;
        EXPECT_EQ(get_words_with_allocate(line, &whole) - line, row.moved) << row.behaviour;
        EXPECT_EQ(whole, row.line.substr(0, row.line.find_first_of("<>"))) << row.behaviour;
        free(whole);
    }
    char untouched[] = "#";
    char* target = untouched;
    CaptureStdout();
    EXPECT_EQ(get_words_with_allocate(get_words(nullptr, untouched, 9), &target), nullptr);
    EXPECT_EQ(GetCapturedStdout(),
              ">get_words:src is NULL.\n>get_words_with_allocate:src is NULL.\n");
    EXPECT_STREQ(target, "#");
    fail_allocation(1);
    CaptureStdout();
    EXPECT_EQ(get_words_with_allocate("a<>b", &target), nullptr);
    EXPECT_EQ(GetCapturedStdout(), "get_words_with_allocate:memory allocate fail.");
    EXPECT_EQ(target, nullptr);
}

TEST_F(Files, KeyedLookupsConvertTheFirstValueOfTheExactKey) {
    const struct {
        string behaviour, value, cut;
        int on, number, byte;
    } rows[] = {
        {"on", "on", "on", 1, 0, 0},
        {"a blank after on", "on ", "on ", 0, 0, 0},
        {"more after on", "on1", "on1", 0, 0, 0},
        {"half of on", "o", "o", 0, 0, 0},
        {"capitals", "ON", "ON", 0, 0, 0},
        {"nothing", "", "", 0, 0, 0},
        {"a number and letters", " -12a", " -12a", 0, -12, 244},
        {"more than a byte", "300", "300", 0, 300, 44},
        {"no hexadecimal number", "0x2", "0x2", 0, 0, 0},
        {"no octal number", "010", "010", 0, 10, 10},
        {"equals signs", "=a=b=c=d", "=a=b=c=", 0, 0, 0},
        {"a value of exactly the size", "1234567", "1234567", 0, 1234567, 135},
        {"more than an int", "99999999999", "9999999", 0, 2147483647, 255},
        {"less than an int", "-9999999999", "-999999", 0, -2147483647 - 1, 0},
        {"127 digits count", string(126, '0') + "12", "0000000", 0, 1, 1},
    };
    for (const auto& row : rows) {
        const string path = store(" k=1\nkk=1\nk =1\nk\nk=" + row.value + "\nk=on\nlast=on");
        const char* const file = path.c_str();
        int number = 7;
        unsigned char byte = 7;
        char cut[8] = "before";
        CaptureStdout();
        EXPECT_EQ(LoadConfFileOnOff(file, "k"), row.on) << row.behaviour;
        EXPECT_EQ(LoadConfFileInt(file, "k", &number), 0) << row.behaviour;
        EXPECT_EQ(LoadConfFileChar(file, "k", &byte), 0) << row.behaviour;
        EXPECT_EQ(LoadConfFileString(file, "k", cut, sizeof cut), 0) << row.behaviour;
        EXPECT_EQ(GetCapturedStdout(), "") << row.behaviour;
        EXPECT_EQ(number, row.number) << row.behaviour;
        EXPECT_EQ(byte, row.byte) << row.behaviour;
        EXPECT_EQ(cut, row.cut) << row.behaviour;
        EXPECT_EQ(LoadConfFileOnOff(file, "last"), 1) << row.behaviour;
    }
    const string path = store("k=1\n");
    for (const string& file : {path, folder + "/none", folder}) {
        int number = 7;
        unsigned char byte = 7;
        char text[8] = "";
        CaptureStdout();
        EXPECT_EQ(LoadConfFileOnOff(file.c_str(), "K"), -1);
        EXPECT_EQ(LoadConfFileInt(file.c_str(), "K", &number), -1);
        EXPECT_EQ(LoadConfFileChar(file.c_str(), "kk", &byte), -1);
        EXPECT_EQ(LoadConfFileString(file.c_str(), "", text, sizeof text), -1);
        const string end = " not found in " + file + ".\n";
        EXPECT_EQ(GetCapturedStdout(),
                  "LoadConfFileOnOff:key=[K]" + end + "LoadConfFileInt:key=[K]" + end +
                      "LoadConfFileChar:key=[kk]" + end + "LoadConfFileString:key=[]" + end);
        EXPECT_EQ(number + byte, 14);
    }
}

TEST_F(Files, ALineThatHoldsATextIsFoundAndCut) {
    const string path = store("one two  three\nfour two\nlast");
    const struct {
        string behaviour, text, line;
        int size;
    } rows[] = {
        {"the first line of two", "two", "one two  three", 32},
        {"a text with blanks", "o  t", "one two  three", 32},
        {"a line of exactly the size", "four", "four two", 9},
        {"a longer line is cut", "four", "four tw", 8},
        {"no text spans two lines", "three\nfour", "", 32},
        {"the last line needs no newline", "last", "last", 32},
        {"every line holds the empty text", "", "one two  three", 32},
        {"upper and lower case differ", "Two", "", 32},
    };
    for (const auto& row : rows) {
        char line[32] = "";
        EXPECT_EQ(grep_file(path.c_str(), row.text.c_str(), line, row.size), !row.line.empty())
            << row.behaviour;
        EXPECT_EQ(line, row.line) << row.behaviour;
    }
    char line[32] = "";
    EXPECT_EQ(grep_file("/none", "", line, sizeof line), 0);
}

TEST_F(Files, AStoredValueChangesItsLineAlone) {
    const string other = string("#\0\xff ==\n\n", 8) + string(70000, 'x') + "\n";
    const struct {
        string behaviour, before, key, value, after;  // empty: refused
    } rows[] = {
        {"the first line of the key", other + "k=1\nk=2\n", "k", "new", other + "k=new\nk=2\n"},
        {"a new line, after a missing newline", other + "kk=1", "k", " a=b ",
         other + "kk=1\nk= a=b \n"},
        {"a new line in an empty file", "", "k", "", "k=\n"},
        {"the last line without newline", "a=1\nk=1", "k", "2", "a=1\nk=2\n"},
        {"no value of two lines", other, "k", "v\nw=1", ""},
        {"no key with an equals sign", other, "k=", "v", ""},
        {"no key of two lines", other, "k\n", "v", ""},
    };
    for (const auto& row : rows) {
        const string file = store(row.before);
        const bool refused = row.after.empty();
        CaptureStdout();
        EXPECT_EQ(SaveConfFileString(file.c_str(), row.key.c_str(), row.value.c_str()),
                  refused ? -1 : 0)
            << row.behaviour;
        EXPECT_EQ(GetCapturedStdout(), "SaveConfFileString:key" + string(refused ? "=" : "") + "[" +
                                           row.key + "] value[" + row.value + "]" +
                                           (refused ? " save fail in " + file + ".\n" : "\n"))
            << row.behaviour;
        EXPECT_TRUE(read() == (refused ? row.before : row.after)) << row.behaviour;
    }
}

TEST_F(Files, AStoredFileKeepsItsModeItsOwnerAndItsLink) {
    const string file = store("k=1\n");
    fs::create_symlink("f", folder + "/link");
    chmod(file.c_str(), 0640);
    const bool owned = chown(file.c_str(), 12, 34) == 0;  // only root may
    for (const string path : {"/link", "/new"})
        EXPECT_EQ(set_StringbyKey((folder + path).c_str(), "k", "2"), 0);
    EXPECT_NE(set_StringbyKey((folder + "/no/f").c_str(), "k", "2"), 0);
    EXPECT_TRUE(fs::is_symlink(folder + "/link"));
    EXPECT_EQ(read(), "k=2\n");
    struct stat status = {};
    stat(file.c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0640);
    EXPECT_TRUE(!owned || (status.st_uid == 12 && status.st_gid == 34));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 3);  // nothing temporary
}

TEST_F(Files, OnlyARegularFileIsStoredIn) {
    mkfifo((folder + "/pipe").c_str(), 0600);
    fs::create_symlink("pipe", folder + "/link");
    fs::create_symlink("nowhere", folder + "/dangling");
    fs::create_directory(folder + "/folder");
    mknod((folder + "/device").c_str(), S_IFCHR | 0600, makedev(1, 3));  // only root may
    for (const auto& entry : fs::directory_iterator(folder)) {
        const auto type = entry.symlink_status().type();
        alarm(5);  // it must not wait
        EXPECT_NE(set_StringbyKey(entry.path().c_str(), "k", "v"), 0) << entry.path();
        alarm(0);
        EXPECT_EQ(entry.symlink_status().type(), type) << entry.path();
    }
    EXPECT_GE(std::distance(fs::directory_iterator(folder), {}), 4);
}

TEST_F(Files, AShareListIsDumped) {
    SHARE_INFO shares = {};
    EXPECT_EQ(
        load_shareinfo_file(store("a<>v<><><><><><>1<>257<>0<>1<><>1\n\nb<>w").c_str(), &shares),
        3);
    CaptureStdout();
    dump_shareinfo(&shares);
    EXPECT_EQ(GetCapturedStdout(),
              "0:a:v smb=1 atalk=1 ftp=0 rsync=1 RO=1\n"
              "1:\n: smb=0 atalk=0 ftp=0 rsync=0 RO=0\n"
              "2:b:w smb=0 atalk=0 ftp=0 rsync=0 RO=0\n");
    EXPECT_EQ(shares.next->next->prev, shares.next);
    close_shareinfo(&shares);
}

// The lists of the loaders lie under /etc: here on a file system of this process.
class Loaders : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(enter_private_mounts());
        ASSERT_EQ(mount("tmpfs", "/etc", "tmpfs", 0, nullptr), 0);
        ASSERT_EQ(mkdir("/etc/korvel", 0777), 0);
    }
    void TearDown() override { umount("/etc"); }

    static void write(const string& path, const string& text) {
        std::ofstream("/etc/" + path, std::ios::binary) << text;
    }

    // A loader gives a result and a number of records, at first with every allocation and then
    // with each of them failed in turn.
    using Result = std::pair<int, int>;
    template <class Record>
    static void expect_results(const string& behaviour, int (*load)(Record*),
                               void (*close)(Record*), const Result& usual,
                               const std::set<Result>& without_memory) {
        std::set<Result> seen;
        const auto run = [&] {
            Record head;
            const int result = load(&head);
            fail_allocation(0);
            int records = 0;
            for (const Record* record = &head; record != nullptr; record = record->next)
                ++records;
            close(&head);
            return Result(result, records);
        };
        CaptureStdout();
        CaptureStderr();
        EXPECT_EQ(run(), usual) << behaviour;
        for (int allocation = 1; allocation < 30; ++allocation) {
            fail_allocation(allocation);
            seen.insert(run());
        }
        GetCapturedStdout();
        GetCapturedStderr();
        seen.erase(usual);
        EXPECT_EQ(seen, without_memory) << behaviour << " without memory";
    }
};

TEST_F(Loaders, CountTheLinesThatTheyHaveRead) {
    const string lines = "a<>\nb<>\n\n";
    for (const auto* path : {"korvel/shareinfo", "korvel/usbshareinfo", "korvel/offlinefile",
                             "korvel/shareinfo.hidden", "korvel/shareinfo.vfs"})
        write(path, lines);
    // In the first line, a text that can't be had costs only itself; later, its record and the rest.
    const std::set<Result> shares = {{-1, 1}, {-1, 2}, {1, 1}, {2, 2}};
    const std::set<Result> records = {{-1, 1}, {-1, 2}};
    expect_results("shares", load_shareinfo, close_shareinfo, {3, 3}, shares);
    expect_results("USB shares", load_usbshareinfo, close_shareinfo, {3, 3}, shares);
    expect_results("offline files", load_offlinefile, close_offlinefile, {3, 3}, records);
    expect_results("hidden shares", load_shareinfo_hidden, close_shareinfo_hidden, {3, 3}, records);
    expect_results("vfs lines", load_shareinfo_vfs, close_shareinfo_vfs, {3, 3}, records);
    write("korvel/shareinfo", "");
    expect_results("no shares", load_shareinfo, close_shareinfo, {0, 1}, {{-1, 1}});
    write("korvel/iscsi_disks1", "iscsi_device0_target=a\niscsi_device5_target=b\n");
    write("korvel/iscsi_disks10", "iscsi_device0_target=c\n");
    expect_results("disks", load_iscsi_disks, close_iscsi_disks, {1, 3}, {{-1, 1}, {-1, 2}});
}

TEST_F(Loaders, TellHowTheyHaveEnded) {
    int count = 7;
    GROUP_INFO groups = {};
    CaptureStdout();
    CaptureStderr();
    EXPECT_EQ(load_groupinfo(&groups, &count), -1);
    EXPECT_EQ(count, 7) << "without the file, the count is not touched";
    write("group", "a:x:1:m\nb:x:2:\nbad\nc:x:3:m");
    EXPECT_EQ(load_groupinfo(&groups, &count), 0);
    EXPECT_EQ(count, 2) << "a group that is given up stays counted";
    close_groupinfo(&groups);
    fail_allocation(2);
    EXPECT_EQ(load_groupinfo(&groups, &count), -1);
    fail_allocation(0);
    close_groupinfo(&groups);
    SHARE_INFO shares;
    OFFLINE offline;
    EXPECT_EQ(load_shareinfo(&shares), -1);
    EXPECT_EQ(load_offlinefile(&offline), -1);
    EXPECT_STREQ(shares.name, "") << "the head is zeroed";
    SYS_INFO info;
    NFS_INFO nfs;
    ISCSI_INFO iscsi;
    MSDFS_INFO msdfs;
    EXPECT_EQ(load_info(&info), 0);
    EXPECT_EQ(load_diskinfo_array(&info, 1), 0);
    EXPECT_EQ(load_diskinfo_array(&info, 2), -1);
    EXPECT_EQ(load_nfs_info(&nfs), 0);
    EXPECT_EQ(load_iscsi_info(&iscsi), 0);
    EXPECT_EQ(load_msdfsinfo(&msdfs), 0);
    close_msdfsinfo(&msdfs);
    fail_allocation(1);
    EXPECT_EQ(load_msdfsinfo(&msdfs), -1);
    close_msdfsinfo(&msdfs);
    debug = 1;
    GetCapturedStdout();
    CaptureStdout();
    write("group", "a:x:1:m\nb:x:2:\nc:x:3:m\n");
    load_groupinfo(&groups, &count);
    close_groupinfo(&groups);
    debug = 0;
    const string traces = GetCapturedStdout();
    EXPECT_TRUE(
        traces.ends_with("close_groupinfo in load_config: group count is 2.\n"
                         "close_groupinfo in load_config: close groupinfo.\n"))
        << traces;
    GetCapturedStderr();
}

TEST(Strings, AreReplaced) {
    const struct {
        string behaviour, text, pattern, replacement, result;
        bool warned;
    } rows[] = {
        {"a longer replacement", "banana", "a", "bb", "bbbnbbnbb", true},
        {"a shorter one", "bbbnbbnbb", "bb", "a", "abnana", false},
        {"nothing", "bbbnbbnbb", "bb", "", "bnn", false},
        {"the same length", "banana", "an", "xy", "bxyxya", false},
        {"matches that overlap, growing", "aaaaa", "aa", "xyz", "xyzxyza", true},
        {"matches that overlap, shrinking", "aaaaa", "aa", "a", "aaa", false},
        {"a replacement is not searched", "aba", "a", "aa", "aabaa", true},
        {"no match", "banana", "x", "yy", "banana", true},
        {"the whole text", "ab", "ab", "abab", "abab", true},
        {"a beginning", "bnn", "^", "pre-", "pre-bnn", false},
    };
    for (const auto& row : rows) {
        string text = row.text + string(32, '\0');
        CaptureStdout();
        EXPECT_EQ(str_replace(text.data(), row.pattern.c_str(), row.replacement.c_str()), 1);
        EXPECT_EQ(GetCapturedStdout(),
                  row.warned ? "[waring! utils 187] this routine have a over flow probabirity.\n"
                             : "")
            << row.behaviour;
        EXPECT_EQ(text.c_str(), row.result) << row.behaviour;
    }
}

TEST(Strings, AreCutBetweenCharacters) {
    const struct {
        string behaviour, text, cut;
        int length;
    } rows[] = {
        {"a character across the cut", "abc\x82\xa0", "abc ", 4},
        {"a character before the cut", "\x82\xa0\x82\xa0", "\x82\xa0", 2},
        {"half-width letters", "ab\xb1z", "ab\xb1", 3},
        {"a text of that length", "abc", "abc", 3},
        {"a shorter text", "ab", "ab", 3},
        {"no length", "ab", "", 0},
        {"80 is no lead byte", "\x80z", "\x80", 1},
        {"81 is one", "\x81z", " ", 1},
        {"9F is one", "\x9fz", " ", 1},
        {"A0 is none", "\xa0z", "\xa0", 1},
        {"DF is none", "\xdfz", "\xdf", 1},
        {"E0 is one", "\xe0z", " ", 1},
        {"FC is one", "\xfcz", " ", 1},
        {"FD is none", "\xfdz", "\xfd", 1},
    };
    for (const auto& row : rows) {
        string text = row.text;
        EXPECT_EQ(str_cut_sjis(text.data(), row.length), 1);
        EXPECT_EQ(string(text.c_str()), row.cut) << row.behaviour;
    }
}

TEST(Shaper, MarksGroupsAndQuotesTheAccountsOfADomain) {
    const string long_part(130, 'p'), cut_part(127, 'p');
    const struct {
        string behaviour, list;
        int kind;
        string shaped;  // empty: left as it is
    } rows[] = {
        {"users", "alice,bob", 0, "alice,bob"},
        {"an account of a domain", "CORP+alice", 0, "CORP+\"alice\""},
        {"groups", "staff,CORP+admins", 1, "@staff,@CORP+\"admins\""},
        {"a list that has been shaped", "@staff,@CORP+\"admins\"", 1, "@staff,@CORP+\"admins\""},
        {"the first plus sign ends the domain", "a+b+c", 0, "a+\"b+c\""},
        {"parts of 127 bytes", cut_part + "+" + cut_part, 0, cut_part + "+\"" + cut_part + "\""},
        {"longer parts are cut", long_part + "+" + long_part, 0,
         cut_part + "+\"" + cut_part + "\""},
        {"a long item without a domain stays", long_part, 1, "@" + long_part},
        {"another kind", "a+b,@c", 2, ""},
        {"another kind", "a+b,@c", -1, ""},
        {"an empty list", "", 0, ""},
    };
    for (const auto& row : rows) {
        char* list = str_duplicate(row.list.c_str());
        const bool left = row.shaped.empty();
        EXPECT_EQ(VntSambaFormatShaper(&list, row.kind), left) << row.behaviour;
        EXPECT_EQ(list, left ? row.list : row.shaped) << row.behaviour;
        free(list);
    }
    char* list = nullptr;
    EXPECT_EQ(VntSambaFormatShaper(&list, 0), 1);
}

TEST(Probe, LeavesTheCodeOfAPathThatIsNotMounted) {
    int type = 9;
    EXPECT_EQ(isMounted("/no/such/path", &type), 0);
    EXPECT_EQ(type, 9);
    CaptureStdout();
    EXPECT_EQ(isMounted(" /proc proc ", &type), 0);
    EXPECT_EQ(GetCapturedStdout(), "unknown fs_type [proc]\n");
    EXPECT_EQ(type, 0);
}

TEST(CodePage, OutsideTheTableIsTheFirst) {
    for (const auto& [index, name] :
         {std::pair<int, string>{-1, "CP932"}, {0, "CP932"}, {22, "ISO8859-15"}, {23, "CP932"}}) {
        CaptureStdout();
        EXPECT_EQ(IconvCodeCharset(index), name);
        EXPECT_EQ(GetCapturedStdout(), ">IconvCodeCharset CodePage=" + std::to_string(index) +
                                           ",charset=" + name + "\n");
    }
}
