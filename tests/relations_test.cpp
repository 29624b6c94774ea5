// What holds between runs, whatever the settings; and the tables of widths and of names.
#include "tests/root.h"

#include <algorithm>
#include <array>
#include <regex>
#include <sstream>
#include <sys/stat.h>

using std::string;

static const string every = "-c samba -c proftpd -c atalk -c syslog -c iscsi -c nfs";

// Compares all that two runs leave behind, but for what they print where `streams` is false.
static void expect_same_texts(const string& rule, const string& input, const Texts& expected,
                              const Texts& seen, bool streams = true) {
    for (const auto& [file, text] : expected)
        if (streams || (file != "out" && file != "err"))
            expect_same(rule, input, file, text, seen.at(file));
}

TEST(Relations, TheOrderOfSettingsDoesNotMatter) {
    const Texts usual = Root().texts(every);
    for (const string file :
         {"info", "diskinfo", "msdfs", "nfs_info", "iscsi_info", "iscsi_disks1"}) {
        Root root;
        string text;
        for (const string& line : lines_of(root.read(file)))
            text.insert(0, line);
        root.write(file, text);
        expect_same_texts("the order of settings does not matter", file + " backwards", usual,
                          root.texts(every));
    }
}

TEST(Relations, ARunTwiceIsARunOnceAndWritesNothingElse) {
    Root root;
    const auto files = [&] {
        return lines_of(output_of("cd " + quoted(root.at("/")) +
                                  " && find . -type f -printf '%M %p\\n' | LC_ALL=C sort"));
    };
    const auto inputs = files();
    const Texts usual = root.texts(every);
    string outputs;
    for (const string& line : files()) {
        if (std::find(inputs.begin(), inputs.end(), line) != inputs.end())
            continue;
        outputs += line;
        const string path = line.substr(line.find('/'), line.size() - line.find('/') - 1);
        root.write(path, root.read(path) + "an old end\n");
        chmod(root.at(path).c_str(), 0640);
    }
    EXPECT_EQ(outputs,
              "-rw------- ./etc/ietd.conf\n"
              "-rw-r--r-- ./etc/atalk/AppleVolumes.default\n"
              "-rw-r--r-- ./etc/atalk/afpd.conf\n"
              "-rw-r--r-- ./etc/exports\n"
              "-rw-r--r-- ./etc/initiators.allow\n"
              "-rw-r--r-- ./etc/initiators.deny\n"
              "-rw-r--r-- ./etc/pam.d/ftp\n"
              "-rw-r--r-- ./etc/pam.d/netatalk\n"
              "-rw-r--r-- ./etc/pam_smb.conf\n"
              "-rw-r--r-- ./etc/proftpd/proftpd.conf\n"
              "-rw-r--r-- ./etc/samba/smb.conf\n"
              "-rw-r--r-- ./etc/syslog.conf\n");
    expect_same_texts("a run twice is a run once", every, usual, root.texts(every));
    EXPECT_EQ(std::filesystem::status(root.at("/etc/ietd.conf")).permissions(),
              std::filesystem::perms(0640));
}

// More bytes than any buffer of reading or writing holds.
TEST(Relations, AShareAloneIsWrittenAsAmongMany) {
    Root many, alone;
    string shares, vfs, hidden, offline;
    for (int i = 0; i < 400; ++i) {
        const string name =
            "share-" + std::to_string(i) + "-" + string(static_cast<size_t>(i) / 8, 'n');
        shares +=
            Share{name,      i % 2 ? "alice" : "", i % 3 ? "staff" : "", i % 5 ? "bob" : "", "",
                  i % 4 == 0}
                .line();
        vfs += name + (i % 7 ? "<>on<>off<>1<>\n" : "<>off<>on<>0<>\n");
        hidden += name + (i % 6 ? "<>on<>\n" : "<>off<>\n");
        offline += name + (i % 9 ? "<>on<>documents<>\n" : "<>off<>manual<>\n");
    }
    for (Root* root : {&many, &alone}) {
        root->write("shareinfo.vfs", vfs);
        root->write("shareinfo.hidden", hidden);
        root->write("offlinefile", offline);
    }
    many.write("shareinfo", shares);
    const Texts among = many.texts(every);
    const auto lines = lines_of(shares);
    for (const size_t i : {0, 1, 126, 189, 252, 398, 399}) {
        alone.write("shareinfo", lines[i]);
        const string name = lines[i].substr(0, lines[i].find("<>"));
        const Texts one = alone.texts(every);
        for (const auto& [file, begin, end] :
             {std::array<string, 3>{"smb.conf", "[" + name, "###" + name + "###\n"},
              {"proftpd.conf", "<Directory /mnt/array1/" + name + ">", "</Directory>\n"},
              {"proftpd.conf", "\n  <Directory /mnt/array1/" + name + ">", "</Directory>\n"},
              {"AppleVolumes.default", "/mnt/array1/" + name + " ", "\n"},
              {"exports", "/mnt/array1/" + name + " ", "\n"}}) {
            const string expected = part(one.at(file), begin, end);
            EXPECT_EQ(expected.empty(), file == "exports" && i % 7 == 0) << name;
            expect_same("a share alone is written as among many", lines[i], file, expected,
                        part(among.at(file), begin, end));
        }
    }
}

TEST(Relations, AListThatCannotBeOpenedIsAnEmptyListAndAMessage) {
    for (const auto& [file, loads] : std::map<string, int>{{"shareinfo", 4},
                                                           {"usbshareinfo", 3},
                                                           {"offlinefile", 1},
                                                           {"shareinfo.hidden", 1},
                                                           {"shareinfo.vfs", 2},
                                                           {"/etc/group", 1}}) {
        Root empty, missing;
        empty.write(file, "");
        missing.remove(file);
        Texts seen = missing.texts("-d 1 " + every);
        const string path = empty.at(file),
                     message = "Can't Open : " + path.substr(path.find("/etc/")) + "\n";
        int said = 0;
        for (size_t at = 0; (at = seen["err"].find(message)) != string::npos; ++said)
            seen["err"].erase(at, message.size());
        EXPECT_EQ(said, loads) << message;
        expect_same_texts("a list that cannot be opened is empty", "no " + file,
                          empty.texts("-d 1 " + every), seen);
    }
}

// The keys of a file that are looked up and missing, in order, each with its reader.
TEST(Relations, EachKeyThatIsMissingIsSaidInItsTurn) {
    const struct {
        string service, file, settings, keys;
    } rows[] = {
        {"syslog", "info", "",
         "String: wg local_auth domain ad_dns pdc auth_server "
         "OnOff: auth_dc_server auth_user_auto_add auth_test String: auth_test_folder wins string "
         "Char: mtu String: codepage OnOff: atalk ftp anonyftp "
         "String: anonyftp_folder anonyftp_mode OnOff: printer_win syslog_forward "
         "String: syslog_forward_target syslog_forward_item OnOff: info_visible"},
        {"syslog", "diskinfo", "",
         "String: array1 array2 disk1 disk2 disk3 disk4 usb_disk1 usb_disk2"},
        {"samba", "msdfs", "",
         "String: msdfs_function msdfs_root_as_link msdfs_root_name msdfs_root_path "
         "msdfs_link1_name"},
        {"nfs", "nfs_info", "", "String: nfs_networkaddress nfs_subnetmask"},
        {"iscsi", "iscsi_info", "",
         "String: iscsi_service iscsi_IncomingUser_name iscsi_IncomingUser_password "
         "iscsi_OutgoingUser_name iscsi_OutgoingUser_password iscsi_authtype"},
        {"iscsi", "iscsi_disks2", "iscsi_device0_target=x\niscsi_device1_target=y\n",
         "String: 0_path_lun0 0_alias 0_IncomingUser_name 0_IncomingUser_password "
         "0_OutgoingUser_name 0_OutgoingUser_password 0_initiators.allow 0_available 0_authtype "
         "0_HeaderDigest 0_DataDigest 0_InitialR2T 0_ImmediateData "
         "Int: 0_MaxConnections 0_MaxRecvDataSegmentLength 0_MaxXmitDataSegmentLength "
         "0_MaxBurstLength 0_FirstBurstLength 0_MaxOutstandingR2T 0_Wthreads 0_QueuedCommands "
         "String: 0_ip_restrict 1_path_lun0"},
    };
    for (const auto& row : rows) {
        Root root;
        root.write(row.file, row.settings);
        std::istringstream words(row.keys);
        const string end = "] not found in /etc/korvel/" + row.file + ".\n";
        string reader, expected, seen;
        for (string word; words >> word;)
            if (word.ends_with(':'))
                reader = "LoadConfFile" + word + "key=[";
            else
                expected += reader + (isdigit(word[0]) ? "iscsi_device" : "") + word + end;
        for (const string& line : lines_of(root.run("-c " + row.service).out))
            seen += line.ends_with(end) ? line : "";
        if (row.settings.empty())
            EXPECT_EQ(seen, expected);
        else  // the second device is the first one's equal
            EXPECT_EQ(seen.substr(0, expected.size()), expected);
    }
}

TEST(Relations, AFileThatCannotBeOpenedEndsTheWriting) {
    const struct {
        string service, path, not_written, first, last;  // of the lines that are not said
    } rows[] = {
        {"samba", "/etc/samba/smb.conf", "smb.conf pam_smb.conf", "file:/etc/samba",
         "file:/etc/pam_smb.conf\n"},
        {"samba", "/etc/pam_smb.conf", "pam_smb.conf", "file:/etc/pam_smb", "\n"},
        {"proftpd", "/etc/proftpd/proftpd.conf", "proftpd.conf ftp", "file:/etc/proftpd",
         "file:/etc/pam.d/ftp\n"},
        {"proftpd", "/etc/pam.d/ftp", "ftp", "file:/etc/pam.d", "\n"},
        {"atalk", "/etc/atalk/AppleVolumes.default", "AppleVolumes.default netatalk afpd.conf",
         "file:/etc/atalk", "afpd.conf\n"},
        {"atalk", "/etc/pam.d/netatalk", "netatalk afpd.conf", "file:/etc/pam.d", "afpd.conf\n"},
        {"atalk", "/etc/atalk/afpd.conf", "afpd.conf", "file:/etc/atalk/afpd", "\n"},
        {"syslog", "/etc/syslog.conf", "syslog.conf", "", ""},
        {"nfs", "/etc/exports", "exports", "file:", "\n"},
        {"iscsi", "/etc/ietd.conf", "ietd.conf initiators.allow initiators.deny",
         "file:", "_allow \n"},
        {"iscsi", "/etc/initiators.allow", "initiators.allow initiators.deny",
         "file:/etc/initiators.deny", "_allow \n"},
        {"iscsi", "/etc/initiators.deny", "initiators.deny", "file:/etc/initiators.allow",
         "_allow \n"},
    };
    for (const auto& row : rows) {
        const string arguments = "-d 1 -c " + row.service;
        Texts expected = Root().texts(arguments);
        std::istringstream files(row.not_written);
        for (string file; files >> file;)
            expected[file] = no_file;
        string& out = expected["out"];
        const string unsaid = part(out, row.first, row.last);
        out.erase(out.find(unsaid), unsaid.size());
        if (row.path == "/etc/initiators.deny")
            expected["initiators.allow"] = "";
        if (row.path == "/etc/ietd.conf")
            expected["err"] = "";
        expected["err"] += (row.service == "syslog" ? "cannnot open " : "cannot open ") + row.path +
                           (row.service == "iscsi" ? "\n" : "\nstatus 255\n");
        Root root;
        root.obstruct(row.path);
        expect_same_texts("a file that cannot be opened ends the writing", row.path, expected,
                          root.texts(arguments));
    }
}

TEST(Relations, ALevelAddsItsTracesAndChangesNoFile) {
    static const std::regex address("ADDRESS[0-9]+");
    // What each level adds to the one before it.
    const struct {
        string level, lines;
    } levels[] = {
        {"0", "file:.*|domain name:.*|.*(null. set read only|unknown value)\\."},
        {"1", ".*"},
        {"2", ""},
        {"3", "(shareinfo_hidden|offline|shareinfo_vfs)\\(name\\):.* vs .*"},
        {"9", ""},
        {"10", "folder : .*|.* vs .*|.* user is .*|no share folder"},
        {"11", ""},
    };
    for (const string service : {"samba", "proftpd", "atalk", "syslog", "iscsi", "nfs"})
        for (const string settings :
             {"domain=off", "domain=on;anonyftp_mode=x;syslog_forward_item=x"}) {
            Root root;
            root.change("info", settings);
            Texts before = root.texts("-d -1 -c " + service);
            for (const auto& level : levels) {
                const string arguments = "-d " + level.level + " -c " + service;
                Texts after = root.texts(arguments);
                string out = std::regex_replace(after["out"], address, "ADDRESS"), added;
                after["out"] = before["out"];
                expect_same_texts("a level changes no file", settings + ": " + arguments, before,
                                  after);
                for (const string& line : lines_of(differing_lines(before["out"], out)))
                    if (line[0] == '-' ||
                        (line[0] == '+' && !std::regex_match(line.substr(1, line.size() - 2),
                                                             std::regex(level.lines))))
                        added += line;
                EXPECT_EQ(added, "")
                    << settings << ": " << arguments << " says more, or less, than it may";
                before["out"] = out;
            }
        }
}

// A field of SIZE bytes, its last one for the end, and a value that fills it: STEM, and more.
struct Field {
    string file, name;
    size_t size;
    string stem = "";

    string value() const { return stem + name.substr(name.find(' ') + 1) + string(size, 'w'); }
    string whole() const { return value().substr(0, size - 2) + "E"; }
    void set(Root& root, const string& value) const {
        const size_t blank = name.find(' ');
        if (blank == name.npos)
            root.change(file, name + "=" + value);
        else
            root.change(file, name.substr(0, blank), name.substr(blank + 1) + "=" + value);
    }
};

static void expect_widths(const string& settings, const std::vector<Field>& fields) {
    Root exact, longer;
    const auto run = [&](Root& root, const string& more) {
        root.change("info", settings);
        root.change("msdfs", "msdfs_root_as_link=on");
        const string group = Field{"", "group", 50}.whole(),
                     path = Field{"", "iscsi_device0_path_lun0", 64, "/dev/"}.whole();
        root.write("/etc/group",
                   group + more + ":x:" + Field{"", "id", 10}.whole() + more + ":member\n");
        root.change("shareinfo", "docs", "rw_groups=" + group);
        for (const Field& field : fields)
            field.set(root, field.whole() + more);
        root.write(path, "");
        root.write("/tmp/pvlistconfig", path + "<>vg\n/dev/md2<>vg\n");
        return root.texts("-d 1 " + every);
    };
    const Texts whole = run(exact, ""), cut = run(longer, "x");
    for (const Field& field : fields) {
        bool found = false;
        for (const auto& [file, text] : whole)
            found |= has(text, field.whole());
        EXPECT_TRUE(found) << field.file << ": " << field.name << " holds " << field.size - 1
                           << " bytes";
    }
    EXPECT_TRUE(has(whole.at("out"), "GroupID = " + Field{"", "id", 10}.whole() + "\n"));
    for (const auto& [file, text] : whole)
        expect_same("what is one byte longer than its field is cut", settings, file, text,
                    cut.at(file));
}

TEST(Widths, OfEveryField) {
    expect_widths("syslog_forward=on", {{"info", "string", 100},
                                        {"info", "wg", 30},
                                        {"info", "wins", 20},
                                        {"info", "codepage", 256},
                                        {"info", "syslog_forward_target", 50},
                                        {"info", "syslog_forward_item", 256, "system<>file_smb<>"},
                                        {"shareinfo", "docs comment", 100},
                                        {"shareinfo", "docs volume", 16},
                                        {"shareinfo", "plans name", 60},
                                        {"usbshareinfo", "card volume", 16, "usb"},
                                        {"offlinefile", "pub policy", 32},
                                        {"offlinefile", "plans name", 60},
                                        {"shareinfo.hidden", "docs name", 60},
                                        {"shareinfo.vfs", "docs name", 60},
                                        {"msdfs", "msdfs_root_name", 60},
                                        {"msdfs", "msdfs_root_path", 256, "/mnt/"},
                                        {"msdfs", "msdfs_link1_name", 60},
                                        {"msdfs", "msdfs_link1_unc1", 256, "\\\\"},
                                        {"nfs_info", "nfs_networkaddress", 32},
                                        {"nfs_info", "nfs_subnetmask", 32},
                                        {"iscsi_info", "iscsi_IncomingUser_name", 256},
                                        {"iscsi_info", "iscsi_IncomingUser_password", 32},
                                        {"iscsi_info", "iscsi_OutgoingUser_name", 256},
                                        {"iscsi_info", "iscsi_OutgoingUser_password", 32},
                                        {"iscsi_disks1", "iscsi_device0_target", 256},
                                        {"iscsi_disks1", "iscsi_device0_path_lun0", 64, "/dev/"},
                                        {"iscsi_disks1", "iscsi_device0_alias", 256},
                                        {"iscsi_disks1", "iscsi_device0_IncomingUser_name", 256},
                                        {"iscsi_disks1", "iscsi_device0_IncomingUser_password", 32},
                                        {"iscsi_disks1", "iscsi_device2_OutgoingUser_name", 256},
                                        {"iscsi_disks1", "iscsi_device2_OutgoingUser_password", 32},
                                        {"iscsi_disks1", "iscsi_device2_IncomingUser_name", 256},
                                        {"iscsi_disks1", "iscsi_device2_IncomingUser_password", 32},
                                        {"iscsi_disks1", "iscsi_device0_initiators.allow", 256},
                                        {"iscsi_disks1", "iscsi_device0_HeaderDigest", 12, "H"},
                                        {"iscsi_disks1", "iscsi_device0_DataDigest", 12, "D"},
                                        {"iscsi_disks1", "iscsi_device0_InitialR2T", 12, "R"},
                                        {"iscsi_disks1", "iscsi_device0_ImmediateData", 12, "I"}});
    expect_widths("domain=ad", {{"info", "ad_dns", 256}, {"info", "pdc", 64}});
    expect_widths("domain=server", {{"info", "auth_server", 64}, {"info", "auth_test_folder", 50}});
    expect_widths("syslog_forward=on",
                  {{"info", "domain", 256}, {"iscsi_info", "iscsi_authtype", 16}});
}

// Each setting's row number, and its names for Samba and FTP, and for AppleTalk.
TEST(Names, OfEachCodePage) {
    const struct {
        string setting;
        int row;
        string charset, mac;
    } rows[] = {
        {"CP932", 0, "CP932", "JAPANESE"},
        {"CP437", 1, "CP437", "ROMAN"},
        {"CP936", 2, "CP936", "CHINESE_SIMP"},
        {"CP949", 3, "CP949", "KOREAN"},
        {"CP950", 4, "CP950", "CHINESE_TRAD"},
        {"CP775", 5, "CP775", "JAPANESE"},
        {"CP850", 6, "CP850", "ROMAN"},
        {"CP852", 7, "CP852", "JAPANESE"},
        {"CP857", 8, "CP857", "JAPANESE"},
        {"CP860", 9, "CP1251", "ROMAN"},
        {"CP1250", 10, "CP1250", "CENTRALEUROPE"},
        {"CP1251", 11, "CP1251", "CYRILLIC"},
        {"CP1252", 12, "CP1252", "JAPANESE"},
        {"CP1253", 13, "CP1253", "ROMAN"},
        {"CP1254", 14, "CP1254", "TURKISH"},
        {"CP1255", 15, "CP1255", "HEBREW"},
        {"CP1256", 16, "CP1256", "ROMAN"},
        {"CP1257", 17, "CP1257", "CENTRALEUROPE"},
        {"ISO8859_1", 18, "ISO8859-1", "ROMAN"},
        {"ISO8859_2", 19, "ISO8859-2", "CENTRALEUROPE"},
        {"ISO8859_9", 20, "ISO8859-9", "TURKISH"},
        {"ISO8859_13", 21, "ISO8859-13", "CENTRALEUROPE"},
        {"ISO8859_15", 22, "ISO8859-15", "ROMAN"},
        {"cp437", 0, "CP932", "JAPANESE"},
        {"ISO8859-1", 0, "CP932", "JAPANESE"},
    };
    for (const auto& row : rows) {
        Root root;
        root.change("info", "codepage=" + row.setting);
        const Texts texts = root.texts(every);
        for (const auto& [file, line] : std::map<string, string>{
                 {"out", "CodePage=" + std::to_string(row.row) + ",charset=" + row.charset + "\n"},
                 {"smb.conf", "dos charset = " + row.charset + "\n"},
                 {"proftpd.conf", "CharsetRemote           " + row.charset + "\n"},
                 {"AppleVolumes.default", "maccharset:MAC_" + row.mac + " volcharset"},
                 {"afpd.conf", "-maccodepage MAC_" + row.mac + " -unix"}})
            EXPECT_TRUE(has(texts.at(file), line)) << row.setting << ": no " << line;
    }
}

// A USB disk of each type of file system: whether its share is written, and read-only.
TEST(Names, OfEachFileSystem) {
    const struct {
        string type, comment, trace;
    } rows[] = {
        {"xfs", "stick\n", " (xfs)"},
        {"xfs2", "stick\n", " (xfs)"},
        {"ext3", "stick\n", " (ext3)"},
        {"ext2", "stick\n", " (ext2)"},
        {"vfat", "stick(Read Only)\n", " (vfat)"},
        {"msdos", "stick(Read Only)\n", " (msdos)"},
        {"ntfs", "stick(Read Only)\n", " (ntfs)"},
        {"reiserfs", "stick\n", " (reiserfs)"},
        {"jfs", "stick\n", " (jfs)"},
        {"xf", "", "unknown fs_type [xf]"},
        {"ext4", "", "unknown fs_type [ext4]"},
        {"ext22", "", "unknown fs_type [ext22]"},
        {"vfat2", "", "unknown fs_type [vfat2]"},
        {"msdos2", "", "unknown fs_type [msdos2]"},
        {"ntfs-3g", "", "unknown fs_type [ntfs-3g]"},
        {"reiserfs4", "", "unknown fs_type [reiserfs4]"},
        {"jfs2", "", "unknown fs_type [jfs2]"},
        {"", "", "unknown fs_type []"},
        {"a-type-of-15-byEs", "", "unknown fs_type [a-type-of-15-by]"},
    };
    for (const auto& row : rows) {
        Root root;
        root.write("/proc/mounts", "/dev/a /mnt/usbdisk1 " + row.type + " rw 0 0\n");
        const Texts texts = root.texts("-d 1 -c samba");
        EXPECT_EQ(part(texts.at("smb.conf"), "    comment = USB ", "\n"),
                  row.comment.empty() ? "" : "    comment = USB " + row.comment)
            << row.type;
        const string said = "format:" + row.type.substr(0, 15) + "\n" + row.trace + "\n";
        EXPECT_TRUE(has(texts.at("out"), said)) << texts.at("out");
    }
}

TEST(Numbers, OfDisksAndLinks) {
    Root root;
    string targets, links;
    for (int file = 1; file <= 11; ++file) {
        string settings;
        for (int device = 0; device <= 20; ++device) {
            const string key = "iscsi_device" + std::to_string(device) + "_";
            const string name = std::to_string(file) + "-" + std::to_string(device) + "\n";
            settings +=
                key + "target=" + name + key + "path_lun0=/dev/md1\n" + key + "available=on\n";
            if (file <= 10 && device < 20)
                targets += "Target  iqn.2008-09.com.quarvane:appliance-000000000000:" + name;
        }
        root.write("iscsi_disks" + std::to_string(file), settings);
    }
    for (int link = 3; link <= 120; ++link)
        links += "msdfs_link" + std::to_string(link) + "_name=l\n";
    root.write("msdfs", root.read("msdfs") + links);
    const Texts texts = root.texts("-d 1 " + every);
    EXPECT_EQ(lines_with(texts.at("ietd.conf"), "Target"), targets);
    EXPECT_TRUE(has(texts.at("ietd.conf"), "\n\n#Disk200\n"));
    EXPECT_TRUE(has(texts.at("out"), "MSDFS link no.99 is enable"));
    EXPECT_FALSE(has(texts.at("out"), "no.100"));
}
