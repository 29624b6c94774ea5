// What the command line does not reach: the product's functions, called one by one.
#include "base/output.h"
#include "conf/conf_file.h"
#include "conf/list_words.h"
#include "conf/load_config.h"
#include "conf/vantor_bin.h"
#include "include/debug.h"
#include "tests/private_mounts.h"
#include "util/mount_probe.h"
#include "util/utils.h"

#include <gtest/gtest.h>

#include <climits>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>

namespace fs = std::filesystem;
using std::string;

// tests/failing_calls.cpp: from now on, the allocation of that number fails; 0: none.
void fail_allocation(int number);

// What a call prints to standard output.
template <class Call>
static string said_by(Call call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

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
    string name = fs::temp_directory_path() / "tavrogen-functions.XXXXXX";
    string folder;
};

TEST(ListWords, TakeOneFieldAndMoveOverItsSeparator) {
    const struct {
        string behaviour, line, field;
        int size, moved;
    } rows[] = {
        {"a field and its separator", "abc<>def", "abc", 60, 5},
        {"the end of the line is passed like a separator", "abc", "abc", 60, 5},
        {"an empty line", "", "", 60, 2},
        {"a long field is cut, and passed whole", "abcdef<>x", "abc", 4, 8},
        {"a field that fits exactly", "abc<>x", "abc", 4, 5},
        {"a lone < takes the next byte with it", "a<b<>c", "a", 60, 3},
        {"bytes beyond ASCII", "\xff\x80<>", "\xff\x80", 60, 4},
        {"a newline belongs to its field", "last\n", "last\n", 60, 7},
        {"no room but for the end", "abc<>", "", 1, 5},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.behaviour);
        const char* const line = row.line.c_str();
        string field(64, '#');
        EXPECT_EQ(get_words(line, field.data(), row.size) - line, row.moved);
        EXPECT_EQ(field.c_str(), row.field);
        EXPECT_EQ(field[static_cast<size_t>(row.size)], '#');
        char* whole = nullptr;
        EXPECT_EQ(get_words_with_allocate(line, &whole) - line, row.moved);
        EXPECT_EQ(whole, row.line.substr(0, row.line.find_first_of("<>")));
        free(whole);
    }
    char untouched[] = "#";
    char* target = untouched;
    EXPECT_EQ(said_by([&] {
                  EXPECT_EQ(get_words_with_allocate(get_words(nullptr, untouched, 9), &target),
                            nullptr);
              }),
              ">get_words:src is NULL.\n>get_words_with_allocate:src is NULL.\n");
    EXPECT_STREQ(target, "#");
    fail_allocation(1);
    EXPECT_EQ(said_by([&] { EXPECT_EQ(get_words_with_allocate("a<>b", &target), nullptr); }),
              "get_words_with_allocate:memory allocate fail.");
    EXPECT_EQ(target, nullptr);
}

TEST_F(Files, KeyedLookupsConvertTheFirstValueOfTheExactKey) {
    const struct {
        string behaviour, value, cut;
        int on, number, byte;
    } rows[] = {
        {"on", "on", "on", 1, 0, 0},
        {"a blank after on", "on ", "on ", 0, 0, 0},
        {"a number and letters", " -12a", " -12a", 0, -12, 244},
        {"more than a byte", "300", "300", 0, 300, 44},
        {"no octal number", "010", "010", 0, 10, 10},
        {"equals signs", "=a=b=c=d", "=a=b=c=", 0, 0, 0},
        {"a value of exactly the size", "1234567", "1234567", 0, 1234567, 135},
        {"more than an int", "99999999999", "9999999", 0, INT_MAX, 255},
        {"less than an int", "-9999999999", "-999999", 0, INT_MIN, 0},
        {"127 digits count", string(126, '0') + "12", "0000000", 0, 1, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.behaviour);
        const string path = store(" k=1\nkk=1\nk =1\nk\nk=" + row.value + "\nk=on\nlast=on");
        const char* const file = path.c_str();
        int number = 7;
        unsigned char byte = 7;
        char cut[8] = "before";
        fail_allocation(1);
        EXPECT_EQ(LoadConfFileOnOff(file, "k"), row.on);
        EXPECT_EQ(LoadConfFileInt(file, "k", &number), 0);
        EXPECT_EQ(LoadConfFileChar(file, "k", &byte), 0);
        EXPECT_EQ(LoadConfFileString(file, "k", cut, sizeof cut), 0);
        EXPECT_EQ(str_duplicate(""), nullptr) << "the first allocation";
        EXPECT_EQ(number, row.number);
        EXPECT_EQ(byte, row.byte);
        EXPECT_EQ(cut, row.cut);
        EXPECT_EQ(LoadConfFileOnOff(file, "last"), 1);
    }
    const string path = store("k=1\n");
    for (const string& file : {path, folder + "/none", folder}) {
        int number = 7;
        unsigned char byte = 7;
        char text[8] = "";
        const string end = " not found in " + file + ".\n";
        EXPECT_EQ(said_by([&] {
                      EXPECT_EQ(LoadConfFileOnOff(file.c_str(), "K"), -1);
                      EXPECT_EQ(LoadConfFileInt(file.c_str(), "K", &number), -1);
                      EXPECT_EQ(LoadConfFileChar(file.c_str(), "kk", &byte), -1);
                      EXPECT_EQ(LoadConfFileString(file.c_str(), "", text, sizeof text), -1);
                  }),
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
    const string other = string("#\0\xff ==\n\n", 8) + string(17 << 20, 'x') + "\n";
    const struct {
        string behaviour, before, key, value, after;  // empty: refused
    } rows[] = {
        {"the first line of the key", other + "k=1\nk=2\n", "k", "new", other + "k=new\nk=2\n"},
        {"a new line, after a missing newline", "kk=1", "k", " a=b ", "kk=1\nk= a=b \n"},
        {"a new line in an empty file", "", "k", "", "k=\n"},
        {"the last line without newline", "a=1\nk=1", "k", "2", "a=1\nk=2\n"},
        {"no value of two lines", "k=1", "k", "v\nw=1", ""},
        {"no key with an equals sign", "k==", "k=", "v", ""},
        {"no key of two lines", "k\nk=1", "k\nk", "v", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.behaviour);
        const string file = store(row.before), pair = "[" + row.key + "] value[" + row.value + "]";
        const bool refused = row.after.empty();
        EXPECT_EQ(said_by([&] {
                      EXPECT_EQ(
                          SaveConfFileString(file.c_str(), row.key.c_str(), row.value.c_str()),
                          refused ? -1 : 0);
                  }),
                  refused ? "SaveConfFileString:key=" + pair + " save fail in " + file + ".\n"
                          : "SaveConfFileString:key" + pair + "\n");
        EXPECT_TRUE(read() == (refused ? row.before : row.after));
    }
}

TEST_F(Files, AStoredFileKeepsItsModeItsOwnerAndItsLink) {
    const string file = store("k=1\n");
    fs::create_symlink("f", folder + "/link");
    chmod(file.c_str(), 0640);
    const bool owned = chown(file.c_str(), 12, 34) == 0;  // only root may
    for (const string path : {"/link", "/new"})
        EXPECT_EQ(set_StringbyKey((folder + path).c_str(), "k", "2"), 0);
    EXPECT_TRUE(fs::is_symlink(folder + "/link"));
    EXPECT_EQ(read(), "k=2\n");
    struct stat status = {};
    stat(file.c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0640);
    EXPECT_TRUE(!owned || (status.st_uid == 12 && status.st_gid == 34));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 3) << "nothing temporary";
}

TEST_F(Files, AStoreThatFailsLeavesEverythingAsItWas) {
    const string file = store("k=1\n");
    const auto expect_refused = [&](const string& path, const string& value) {
        alarm(5);  // it must not wait
        EXPECT_NE(set_StringbyKey(path.c_str(), "k", value.c_str()), 0) << path;
        alarm(0);
    };
    signal(SIGXFSZ, SIG_IGN);
    const rlimit small = {100, RLIM_INFINITY}, none = {RLIM_INFINITY, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &small);
    expect_refused(file, string(1000, 'x'));
    setrlimit(RLIMIT_FSIZE, &none);
    for (int allocation = 1; allocation < 9; ++allocation) {
        fail_allocation(allocation);
        if (set_StringbyKey(file.c_str(), "k", "1") == 0)
            break;
    }
    fail_allocation(0);
    EXPECT_EQ(read(), "k=1\n");
    mkfifo((folder + "/pipe").c_str(), 0600);
    fs::create_symlink("nowhere", folder + "/dangling");
    for (const string path : {"/pipe", "/dangling", "/", "/no/f"})
        expect_refused(folder + path, "v");
    EXPECT_TRUE(fs::is_fifo(folder + "/pipe") && fs::is_symlink(folder + "/dangling"));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 3) << "nothing temporary";
}

TEST_F(Files, AnOutputHoldsAllThatIsPut) {
    const string long_text(16384, 'c');  // as long as its buffer
    for (const size_t length : {0, 1, 16383, 16384, 16385, 100000}) {
        const string start(length, 'a');
        {
            Output out((folder + "/f").c_str());
            put(out, start.c_str(), "b", INT_MIN, "", 0, long_text.c_str());
        }
        EXPECT_TRUE(read() == start + "b-21474836480" + long_text) << length;
    }
}

TEST_F(Files, AShareListIsDumped) {
    SHARE_INFO shares = {};
    const string path = store("a<>v<><><><><><>1<>257<>0<>1<><>1\n\nb<>w");
    EXPECT_EQ(load_shareinfo_file(path.c_str(), &shares), 3);
    EXPECT_EQ(said_by([&] { dump_shareinfo(&shares); }),
              "0:a:v smb=1 atalk=1 ftp=0 rsync=1 RO=1\n"
              "1:\n: smb=0 atalk=0 ftp=0 rsync=0 RO=0\n"
              "2:b:w smb=0 atalk=0 ftp=0 rsync=0 RO=0\n");
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
    static void expect_results(const string& list, int (*load)(Record*), void (*close)(Record*),
                               const Result& usual, const std::set<Result>& without_memory) {
        const auto run = [&](int failing) {
            Record head;
            fail_allocation(failing);
            const int result = load(&head);
            fail_allocation(0);
            int records = 0;
            for (const Record* record = &head; record != nullptr; record = record->next) {
                ++records;
                EXPECT_TRUE(record->next == nullptr || record->next->prev == record);
            }
            close(&head);
            return Result(result, records);
        };
        std::set<Result> seen;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        EXPECT_EQ(run(0), usual) << list;
        for (int allocation = 1; allocation < 30; ++allocation)
            seen.insert(run(allocation));
        testing::internal::GetCapturedStdout();
        testing::internal::GetCapturedStderr();
        seen.erase(usual);
        EXPECT_EQ(seen, without_memory) << list << " without memory";
    }
};

TEST_F(Loaders, CountTheLinesThatTheyHaveRead) {
    for (const string name :
         {"shareinfo", "usbshareinfo", "offlinefile", "shareinfo.hidden", "shareinfo.vfs"})
        write("korvel/" + name, "a<>\nb<>\n\n");
    write("group", "a:x:1:m\nb:x:2:\nc:x:3:m\n");
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
    fs::remove("/etc/korvel/shareinfo");
    expect_results("no list", load_shareinfo, close_shareinfo, {-1, 1}, {});
    write("korvel/iscsi_disks1", "iscsi_device0_target=a\niscsi_device5_target=b\n");
    write("korvel/iscsi_disks10", "iscsi_device0_target=c\n");
    const auto load_groups = [](GROUP_INFO* head) {
        int count = 0;
        *head = {};
        return load_groupinfo(head, &count);
    };
    expect_results<GROUP_INFO>("groups", load_groups, close_groupinfo, {0, 3},
                               {{-1, 1}, {-1, 2}, {-1, 3}});
    expect_results("disks", load_iscsi_disks, close_iscsi_disks, {1, 3}, {{-1, 1}, {-1, 2}});
}

TEST_F(Loaders, TellHowTheyHaveEnded) {
    int count = 7;
    GROUP_INFO groups = {};
    EXPECT_EQ(load_groupinfo(&groups, &count), -1);
    EXPECT_EQ(count, 7) << "without the file, the count is not touched";
    write("group", "a:x:1:m\nb:x:2:\nbad\nc:x:3:m");
    EXPECT_EQ(load_groupinfo(&groups, &count), 0);
    EXPECT_EQ(count, 2) << "a group that is given up stays counted";
    debug = 1;
    EXPECT_EQ(said_by([&] { close_groupinfo(&groups); }),
              "close_groupinfo in load_config: group count is 0.\n"
              "close_groupinfo in load_config: close groupinfo.\n");
    debug = 0;
    SYS_INFO info;
    EXPECT_EQ(load_diskinfo_array(&info, 1), 0);
    EXPECT_EQ(load_diskinfo_array(&info, 2), -1);
    for (const int failing : {0, 1, 2}) {
        MSDFS_INFO msdfs;
        fail_allocation(failing);
        EXPECT_EQ(load_msdfsinfo(&msdfs), failing ? -1 : 0);
        fail_allocation(0);
        close_msdfsinfo(&msdfs);
    }
}

TEST(Strings, AreReplaced) {
    const string warning = "[waring! utils 187] this routine have a over flow probabirity.\n";
    const struct {
        string behaviour, text, pattern, replacement, result, said;
    } rows[] = {
        {"matches that overlap, growing", "aaaaa", "aa", "xyz", "xyzxyza", warning},
        {"matches that overlap, shrinking", "aaaaa", "aa", "a", "aaa", ""},
        {"a replacement is not searched", "aba", "a", "aa", "aabaa", warning},
        {"no match", "banana", "x", "yy", "banana", warning},
        {"a beginning", "bnn", "^", "pre-", "pre-bnn", ""},
    };
    for (const auto& row : rows) {
        string text = row.text + string(32, '\0');
        EXPECT_EQ(said_by([&] {
                      str_replace(text.data(), row.pattern.c_str(), row.replacement.c_str());
                  }),
                  row.said)
            << row.behaviour;
        EXPECT_EQ(text.c_str(), row.result) << row.behaviour;
    }
}

TEST(Strings, AreCutBetweenCharacters) {
    const auto cut = [](string text, int length) {
        EXPECT_EQ(str_cut_sjis(text.data(), length), 1);
        return string(text.c_str());
    };
    EXPECT_EQ(cut("abc\x82\xa0", 4), "abc ") << "a character across the cut";
    EXPECT_EQ(cut("\x82\xa0\x82\xa0", 2), "\x82\xa0") << "a character before the cut";
    EXPECT_EQ(cut("ab\xb1z", 3), "ab\xb1") << "half-width letters";
    EXPECT_EQ(cut("abc", 3), "abc");
    EXPECT_EQ(cut("ab", 3), "ab");
    EXPECT_EQ(cut("ab", 0), "");
    for (const string lead : {"\x81", "\x9f", "\xe0", "\xfc"})
        EXPECT_EQ(cut(lead + "z", 1), " ");
    for (const string other : {"\x80", "\xa0", "\xdf", "\xfd"})
        EXPECT_EQ(cut(other + "z", 1), other);
}

TEST(Shaper, MarksGroupsAndQuotesTheAccountsOfADomain) {
    const string long_part(130, 'p'), cut_part(127, 'p');
    const struct {
        string behaviour, list;
        int kind;
        string shaped;  // empty: left as it is
    } rows[] = {
        {"groups", "staff,CORP+admins", 1, "@staff,@CORP+\"admins\""},
        {"marks inside an item", "a@b\"c+d@e", 0, "abc+\"de\""},
        {"the first plus sign ends the domain", "a+b+c", 0, "a+\"b+c\""},
        {"parts of 127 bytes", cut_part + "+" + cut_part, 0, cut_part + "+\"" + cut_part + "\""},
        {"longer parts are cut", long_part + "+" + long_part, 0,
         cut_part + "+\"" + cut_part + "\""},
        {"a long item without a domain stays", long_part, 1, "@" + long_part},
        {"another kind", "a+b,@c", 2, ""},
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
    EXPECT_EQ(said_by([&] { EXPECT_EQ(isMounted(" /proc proc ", &type), 0); }),
              "unknown fs_type [proc]\n");
    EXPECT_EQ(type, 0);
}

TEST(CodePage, OutsideTheTableIsTheFirst) {
    for (const int index : {-1, 0, 23})
        EXPECT_EQ(said_by([&] { EXPECT_STREQ(IconvCodeCharset(index), "CP932"); }),
                  ">IconvCodeCharset CodePage=" + std::to_string(index) + ",charset=CP932\n");
}
