// Reads the appliance-wide settings and the states of the volumes.
#include "conf/conf_file.h"
#include "conf/load_config.h"
#include "conf/text.h"
#include "conf/vantor_bin.h"
#include "include/code_page.h"
#include "include/debug.h"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

static constexpr char info_file[] = "/etc/korvel/info";
static constexpr char disk_file[] = "/etc/korvel/diskinfo";

template <size_t size>
static void load_text(const char* key, char (&member)[size]) {
    LoadConfFileString(info_file, key, member);
}

// Kept: a missing key gives -1, stored as 255, which counts as set.
static unsigned char load_switch(const char* key) {
    return static_cast<unsigned char>(LoadConfFileOnOff(info_file, key));
}

static void set_hostname(SYS_INFO* info, const char* full_name) {
    const size_t length = strcspn(full_name, ".");
    const size_t room = sizeof info->hostname - 1;  // a longer name is cut
    memcpy(info->hostname, full_name, length < room ? length : room);
    trace(1, "load_info in load_config: hostname = %s.\n", full_name);
}

static void set_domain_mode(SYS_INFO* info, const char* domain) {
    printf("load_info ItemValue = %s\n", domain);
    info->sec_domain = equal(domain, "on");
    info->sec_ads = equal(domain, "ad");
    info->sec_server = equal(domain, "server");
    info->sec_share = equal(domain, "share");
    if (info->sec_server)
        trace(1, "load_info in load_config: external server security mode.\n");
}

static void set_code_page(SYS_INFO* info, const char* setting) {
    for (int row = 0; row < code_page_count; ++row)
        if (equal(setting, code_pages[row].setting))
            info->codepage = static_cast<unsigned char>(row);
    trace(1, "load_info in load_config: codepage = %s.\n", setting);
}

static void set_anonymous_mode(SYS_INFO* info, const char* mode) {
    info->anonyftp_mode = equal(mode, "write");
    if (equal(mode, "read"))
        trace(1, "load_info in load_config: anonymous ftp mode is read only.\n");
    else if (equal(mode, "write"))
        trace(1, "load_info in load_config: anonymous ftp mode is read/write .\n");
    else
        trace(0, "load_info in load_config: anonymous ftp mode is null. set read only.\n");
}

static void set_forward_item(SYS_INFO* info, const char* item) {
    const struct {
        const char* keyword;
        unsigned char* flag;
    } rows[] = {
        {"system", &info->forward_system},
        {"file_smb", &info->forward_file_smb},
        {"file_ftp", &info->forward_file_ftp},
        {"file_iscsi", &info->forward_file_iscsi},
    };
    for (const auto& row : rows) {
        if (strncmp(item, row.keyword, strlen(row.keyword)) != 0)  // Kept: "systemd" is "system".
            continue;
        *row.flag = 1;
        trace(1, "load_info in load_config: syslog forward item %s is on.\n", row.keyword);
        return;
    }
    trace(0, "load_info in load_config: syslog forward item include unknown value.\n");
}

static void set_forward_items(SYS_INFO* info, const char* items) {
    if (!is_set(items))
        return;
    trace(1, "load_info in load_config: syslog_forward_item is %s.\n", items);
    const int end = static_cast<int>(strlen(items));
    for (int at = 0; at <= end;) {
        const int length = static_cast<int>(strcspn(items + at, "<"));
        set_forward_item(info, items + at);
        at += (length != 0 ? length : end - at) + 2;  // Kept: an empty item takes the rest with it.
    }
}

int load_diskinfo_array(SYS_INFO* info, int index) {
    static constexpr struct {
        const char* setting;
        const char* shown;
    } rows[] = {
        {"jbod", "jbod"},    {"raid0", "raid-0"},   {"raid1", "raid-1"},
        {"raid5", "raid-5"}, {"raid10", "raid-10"},
    };
    if (index < 0 || index > 1)
        return -1;
    char name[16];
    char value[32] = "";
    snprintf(name, sizeof name, "array%d", index + 1);
    LoadConfFileString(disk_file, name, value);
    info->array_state[index] = 0;
    for (size_t row = 0; row < sizeof rows / sizeof *rows; ++row) {
        if (!equal(value, rows[row].setting))
            continue;
        info->array_state[index] = static_cast<unsigned char>(row + 1);
        trace(1, "load_diskinfo_array: %s is %s.\n", name, rows[row].shown);
    }
    return 0;
}

static void load_disks(SYS_INFO* info) {
    char name[16];
    char value[32] = "";  // Kept: a missing disk repeats the value of the disk before it.
    for (int i = 0; i < 4; ++i) {
        snprintf(name, sizeof name, "disk%d", i + 1);
        LoadConfFileString(disk_file, name, value);
        info->disk_state[i] = 1;
        if (equal(value, "array1"))
            info->disk_state[i] = 2;
        else if (equal(value, "array2"))
            info->disk_state[i] = 3;
        else if (!equal(value, "normal"))
            continue;
        trace(1, "load_diskinfo_disk: %s is %s.\n", name, value);
    }
}

static void load_usb_disks(SYS_INFO* info) {
    char name[16];
    char value[32] = "";  // Kept: as for the disks.
    for (int i = 0; i < 2; ++i) {
        snprintf(name, sizeof name, "usb_disk%d", i + 1);
        LoadConfFileString(disk_file, name, value);
        info->usb_disk_state[i] = !equal(value, "normal");
        trace(1, "load_diskinfo_usbdisk: %s is %s.\n", name,
              info->usb_disk_state[i] ? "used" : "none");
    }
}

int load_info(SYS_INFO* info) {
    *info = {};
    const SettingsCache cache;
    // Kept: one area for all values that are compared. A missing key leaves the value before it
    // in place, and the decision is made on that.
    char value[256] = "";
    gethostname(value, sizeof value);
    set_hostname(info, value);
    load_text("wg", info->wg);
    load_text("local_auth", value);
    info->local_auth = equal(value, "on");
    load_text("domain", value);
    set_domain_mode(info, value);
    load_text("ad_dns", info->ad_dns);
    load_text("pdc", info->pdc);
    load_text("auth_server", info->auth_server);
    info->auth_dc_server = load_switch("auth_dc_server");
    info->auth_user_auto_add = load_switch("auth_user_auto_add");
    info->auth_test = load_switch("auth_test");
    load_text("auth_test_folder", info->auth_test_folder);
    load_text("wins", info->wins);
    load_text("string", info->string);
    LoadConfFileChar(info_file, "mtu", &info->mtu);
    load_text("codepage", value);
    set_code_page(info, value);
    info->atalk = load_switch("atalk");
    info->ftp = load_switch("ftp");
    info->anonyftp = load_switch("anonyftp");
    load_text("anonyftp_folder", info->anonyftp_folder);
    load_text("anonyftp_mode", value);
    set_anonymous_mode(info, value);
    info->printer_win = load_switch("printer_win");
    info->syslog_forward = load_switch("syslog_forward");
    load_text("syslog_forward_target", info->syslog_forward_target);
    load_text("syslog_forward_item", value);
    set_forward_items(info, value);
    info->info_visible = load_switch("info_visible");
    load_diskinfo_array(info, 0);
    load_diskinfo_array(info, 1);
    load_disks(info);
    load_usb_disks(info);
    return 0;
}
