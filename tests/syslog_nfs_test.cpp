// The system log, the NFS exports, and the settings and lists that both stand on.
#include "tests/appliance.h"

TEST(Syslog, ForwardsTheChosenFacilities) {
    const std::string system = "local0.*\t@10.0.0.5\n";
    const std::string samba = "local6.=info\t@10.0.0.5\n";
    const std::string unknown =
        "load_info in load_config: syslog forward item include unknown value.\n";
    const struct {
        std::string items;
        std::string forwarded;
        std::string notes = "";
    } rows[] = {
        {"system<>file_smb", system + samba},
        {"file_smb<>system", system + samba},
        {"file_ftp", ""},
        {"file_ftp<>file_iscsi<>file_smb", samba},
        {"systemd", system},
        {"", ""},
        {"file_smb<>bogus", samba, unknown},
        {"<>system", "", unknown},
        {"system<>", system, unknown},
        {"system<><>file_smb", system, unknown},
        {"System", "", unknown},
    };
    Appliance appliance;
    appliance.change("info", "syslog_forward=on");
    for (const auto& row : rows) {
        appliance.change("info", "syslog_forward_item=" + row.items);
        const Outcome run = appliance.run("-c syslog");
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(appliance.read("/etc/syslog.conf"),
                  expected("off/etc/syslog.conf") + row.forwarded)
            << row.items;
        EXPECT_EQ(run.out, "optarg:syslog\nload_info ItemValue = off\n" + row.notes) << row.items;
    }
}

TEST(Syslog, ForwardsWhenTheSwitchIsMissingAndWithoutATarget) {
    Appliance appliance;
    appliance.change("info", "syslog_forward;syslog_forward_target");
    EXPECT_EQ(appliance.run("-c syslog").out,
              "optarg:syslog\n"
              "load_info ItemValue = off\n"
              "LoadConfFileOnOff:key=[syslog_forward] not found in /etc/korvel/info.\n"
              "LoadConfFileString:key=[syslog_forward_target] not found in /etc/korvel/info.\n");
    EXPECT_EQ(appliance.read("/etc/syslog.conf"),
              expected("off/etc/syslog.conf") + "local0.*\t@\nlocal6.=info\t@\n");
}

// Each row changes some settings; the lines of the trace that begin with a word tell the outcome.
TEST(Settings, DecideAsTheyStand) {
    const std::string in = "load_info in load_config: ";
    const struct {
        std::string file;
        std::string settings;
        std::string word;
        std::string trace;
    } rows[] = {
        {"info", "domain=server", in + "ext", in + "external server security mode.\n"},
        {"info", "domain=Server", in + "ext", ""},
        {"info", "anonyftp_mode=write", in + "anon", in + "anonymous ftp mode is read/write .\n"},
        {"info", "anonyftp_mode=read/write", in + "anon",
         in + "anonymous ftp mode is null. set read only.\n"},
        // A missing key is decided on the value before it.
        {"info", "local_auth=ad;domain", "load_info Item", "load_info ItemValue = ad\n"},
        {"info", "codepage=write;anonyftp_mode", in + "anon",
         in + "anonymous ftp mode is read/write .\n"},
        {"info", "syslog_forward_item", in + "syslog",
         in + "syslog_forward_item is read.\n" + in +
             "syslog forward item include unknown value.\n"},
        {"diskinfo", "array1=jbod;array2=raid10", "load_diskinfo_array",
         "load_diskinfo_array: array1 is jbod.\nload_diskinfo_array: array2 is raid-10.\n"},
        {"diskinfo", "array1=raid0;array2=raid5", "load_diskinfo_array",
         "load_diskinfo_array: array1 is raid-0.\nload_diskinfo_array: array2 is raid-5.\n"},
        {"diskinfo", "array1=RAID1;array2", "load_diskinfo_array", ""},
        {"diskinfo", "disk1;disk2=array2;disk3;disk4=Normal", "load_diskinfo_disk",
         "load_diskinfo_disk: disk2 is array2.\nload_diskinfo_disk: disk3 is array2.\n"},
        {"diskinfo", "usb_disk1=normal;usb_disk2", "load_diskinfo_usbdisk",
         "load_diskinfo_usbdisk: usb_disk1 is none.\n"
         "load_diskinfo_usbdisk: usb_disk2 is none.\n"},
        {"diskinfo", "usb_disk1;usb_disk2=normal", "load_diskinfo_usbdisk",
         "load_diskinfo_usbdisk: usb_disk1 is used.\n"
         "load_diskinfo_usbdisk: usb_disk2 is none.\n"},
    };
    for (const auto& row : rows) {
        Appliance appliance;
        appliance.change(row.file, row.settings);
        EXPECT_EQ(lines_with(appliance.run("-d 1 -c syslog").out, row.word), row.trace)
            << row.settings;
    }
}

static std::string exported(const std::string& path) {
    return "/mnt/" + path +
           " 10.0.0.0/255.255.255.0(rw,sync,all_squash,anonuid=99,anongid=99,no_subtree_check)\n";
}

TEST(Nfs, ExportsTheSharesThatAVfsLineSwitchesOn) {
    const std::string name60(60, 'n');
    const std::string name59(59, 'n');
    const struct {
        std::string behaviour;
        std::string shares;
        std::string vfs;
        std::string exports;
    } rows[] = {
        {"each notation of 1 counts",
         open_share("a") + open_share("b") + open_share("c") + open_share("d") + open_share("e"),
         "a<>off<>off<>0x1<>\nb<><><>01\nc<><><>1abc<>\nd<><><>on<>\ne<><><>11<>\n",
         exported("array1/a") + exported("array1/b") + exported("array1/c")},
        {"a later zero does not undo, names are whole and case-sensitive",
         open_share("data") + open_share("data2") + open_share("Data"),
         "data<>off<>off<>1<>\ndata<>on<>on<>0<>\n", exported("array1/data")},
        {"each share once", open_share("a") + open_share("a"),
         "a<><><>1<>\na<><><>1<>\na<><><>1<>\nb<><><>1<>\n",
         exported("array1/a") + exported("array1/a")},
        {"a name is cut, and then matches its cut self", open_share(name60), name60 + "<><><>1<>\n",
         exported("array1/" + name59)},
        {"a lone bracket ends a field and takes a character with it", "a<b<>x<>\n", "a<><><>1<>\n",
         exported("/a")},
        {"a short line keeps its newline, and a blank line is a share",
         "a<>array1\n\nb<>array1<>\n", "a<>off<>off<>1\nb<><><>1",
         exported("array1\n/a") + exported("array1/b")},
        {"bytes above 127 stand", open_share("\xff\x80\xe9"), "\xff\x80\xe9<><><>1\n",
         exported("array1/\xff\x80\xe9")},
        {"a NUL ends a field like a bracket", std::string("a\0-array1\0-c\n", 13) + open_share("b"),
         "a<><><>1\nb<><><>1\n", exported("array1/a") + exported("array1/b")},
        {"a line of 39,999 bytes goes on in the next record",
         std::string(39999, 'x') + open_share("a"), "a<><><>1\n", exported("array1/a")},
        {"a full area of separators", std::string(39999, '<') + "\n" + open_share("a"),
         "a<><><>1\n" + std::string(39999, '<'), exported("array1/a")},
        {"no shares", "", "a<><><>1\n", ""},
        {"no vfs lines", open_share("a"), "", ""},
    };
    Appliance appliance;
    for (const auto& row : rows) {
        appliance.write("shareinfo", row.shares);
        appliance.write("shareinfo.vfs", row.vfs);
        for (const auto* arguments : {"-c nfs", "-d 3 -c nfs"}) {
            EXPECT_EQ(appliance.run(arguments).status, 0) << row.behaviour;
            EXPECT_EQ(appliance.read("/etc/exports"), row.exports) << row.behaviour;
        }
    }
}

TEST(Nfs, GoesOnWithoutANetwork) {
    Appliance appliance;
    appliance.write("nfs_info", "nfs_networkaddress\nnfs_subnetmask_=1\n");
    EXPECT_EQ(appliance.run("-c nfs").out,
              "optarg:nfs\n"
              "LoadConfFileString:key=[nfs_networkaddress] not found in /etc/korvel/nfs_info.\n"
              "LoadConfFileString:key=[nfs_subnetmask] not found in /etc/korvel/nfs_info.\n"
              "file:/etc/exports\n");
    EXPECT_EQ(appliance.read("/etc/exports"),
              "/mnt/array1/pub /(rw,sync,all_squash,anonuid=99,anongid=99,no_subtree_check)\n");
}
