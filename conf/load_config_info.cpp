// Reads /etc/korvel/info, /etc/korvel/diskinfo and the host name.
#include "base/c_string.h"
#include "base/messages.h"
#include "base/os.h"
#include "conf/conf_file.h"
#include "conf/load_config.h"
#include "include/code_page.h"

#include <stdio.h>
#include <string.h>

static constexpr char disk_file[] = "/etc/korvel/diskinfo";

// Kept: a missing key gives 255, which counts as set, where one expects "off".
static void load_switch(const SettingsFile& file, const char* key, unsigned char* member) {
    *member = static_cast<unsigned char>(LoadConfFileOnOff(file, key));
}

static void set_hostname(SYS_INFO* info, const char* full_name) {
    const size_t length = strcspn(full_name, ".");
    const size_t limit = sizeof info->hostname - 1;  // a longer name is cut
    memcpy(info->hostname, full_name, length < limit ? length : limit);
    trace(1, "load_info in load_config: hostname = %s.\n", full_name);
}

static void set_domain_mode(SYS_INFO* info, const char* domain) {
    say("load_info ItemValue = %s\n", domain);
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
        // Kept: the keyword's length is compared, so "systemd" counts as "system".
        if (strncmp(item, row.keyword, strlen(row.keyword)) != 0)
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
        // Kept: an empty item ends the list, where one expects the items after it to count.
        at += (length != 0 ? length : end - at) + 2;
    }
}

static void load_array(const SettingsFile& disks, SYS_INFO* info, int index) {
    static constexpr struct {
        const char* setting;
        const char* shown;
    } rows[] = {
        {"jbod", "jbod"},    {"raid0", "raid-0"},   {"raid1", "raid-1"},
        {"raid5", "raid-5"}, {"raid10", "raid-10"},
    };
    char name[20];
    char value[32] = "";
    snprintf(name, sizeof name, "array%d", index + 1);
    LoadConfFileString(disks, name, value);
    info->array_state[index] = 0;
    for (size_t row = 0; row < sizeof rows / sizeof *rows; ++row) {
        if (!equal(value, rows[row].setting))
            continue;
        info->array_state[index] = static_cast<unsigned char>(row + 1);
        trace(1, "load_diskinfo_array: %s is %s.\n", name, rows[row].shown);
    }
}

int load_diskinfo_array(SYS_INFO* info, int index) {
    if (index < 0 || index > 1)
        return -1;
    load_array(disk_file, info, index);
    return 0;
}

static void load_disks(const SettingsFile& disks, SYS_INFO* info) {
    char name[16];
    char value[32] = "";  // Kept: a missing disk repeats the value of the disk before it.
    for (int i = 0; i < 4; ++i) {
        snprintf(name, sizeof name, "disk%d", i + 1);
        LoadConfFileString(disks, name, value);
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

static void load_usb_disks(const SettingsFile& disks, SYS_INFO* info) {
    char name[16];
    char value[32] = "";  // Kept: a missing disk repeats the value of the disk before it.
    for (int i = 0; i < 2; ++i) {
        snprintf(name, sizeof name, "usb_disk%d", i + 1);
        LoadConfFileString(disks, name, value);
        info->usb_disk_state[i] = !equal(value, "normal");
        trace(1, "load_diskinfo_usbdisk: %s is %s.\n", name,
              info->usb_disk_state[i] ? "used" : "none");
    }
}

int load_info(SYS_INFO* info) {
    *info = {};
    SettingsFile file("/etc/korvel/info");
    file.load();
    // Kept: one area serves all values that are compared. A missing key leaves the value before it
    // in place, and that one is compared, where one expects an empty value.
    char value[256];
    get_host_name(value, sizeof value);
    set_hostname(info, value);
    LoadConfFileString(file, "wg", info->wg);
    LoadConfFileString(file, "local_auth", value);
    info->local_auth = equal(value, "on");
    LoadConfFileString(file, "domain", value);
    set_domain_mode(info, value);
    LoadConfFileString(file, "ad_dns", info->ad_dns);
    LoadConfFileString(file, "pdc", info->pdc);
    LoadConfFileString(file, "auth_server", info->auth_server);
    load_switch(file, "auth_dc_server", &info->auth_dc_server);
    load_switch(file, "auth_user_auto_add", &info->auth_user_auto_add);
    load_switch(file, "auth_test", &info->auth_test);
    LoadConfFileString(file, "auth_test_folder", info->auth_test_folder);
    LoadConfFileString(file, "wins", info->wins);
    LoadConfFileString(file, "string", info->string);
    LoadConfFileChar(file, "mtu", &info->mtu);
    LoadConfFileString(file, "codepage", value);
    set_code_page(info, value);
    load_switch(file, "atalk", &info->atalk);
    load_switch(file, "ftp", &info->ftp);
    load_switch(file, "anonyftp", &info->anonyftp);
    LoadConfFileString(file, "anonyftp_folder", info->anonyftp_folder);
    LoadConfFileString(file, "anonyftp_mode", value);
    set_anonymous_mode(info, value);
    load_switch(file, "printer_win", &info->printer_win);
    load_switch(file, "syslog_forward", &info->syslog_forward);
    LoadConfFileString(file, "syslog_forward_target", info->syslog_forward_target);
    LoadConfFileString(file, "syslog_forward_item", value);
    set_forward_items(info, value);
    load_switch(file, "info_visible", &info->info_visible);
    SettingsFile disks(disk_file);
    disks.load();
    load_array(disks, info, 0);
    load_array(disks, info, 1);
    load_disks(disks, info);
    load_usb_disks(disks, info);
    return 0;
}
