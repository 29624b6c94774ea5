// Writes /etc/atalk/AppleVolumes.default, /etc/pam.d/netatalk and /etc/atalk/afpd.conf.
#include "base/c_string.h"
#include "base/messages.h"
#include "conf/load_config.h"
#include "include/code_page.h"
#include "util/mount_probe.h"
#include "util/utils.h"
#include "writers/share_access.h"
#include "writers/write_conf.h"
#include "writers/writers.h"

#include <initializer_list>
#include <stdio.h>

// Takes the prefix of the appliance's own domain off every account of a share. Returns 0.
static int strip_domain_prefix(SHARE_INFO* share, const SYS_INFO& info) {
    char prefix[132];
    snprintf(prefix, sizeof prefix, "%s+", info.wg);
    trace(0, "domain name:%s\n", prefix);
    for (char* list : {share->ro_users, share->ro_groups, share->rw_users, share->rw_groups})
        str_replace(list, prefix, "");
    return 0;
}

// Writes the lists that are not empty, with commas between them.
static void write_joined(Output& out, std::initializer_list<const char*> lists) {
    const char* comma = "";
    for (const char* list : lists) {
        if (!is_set(list))
            continue;
        put(out, comma, list);
        comma = ",";
    }
}

// Writes what follows the path in the line of a volume: its name and who may use it.
static void write_rest_of_volume(Output& out, SHARE_INFO* share, bool read_only,
                                 const SYS_INFO& info) {
    const char* const options = read_only ? " options:ro\n" : "\n";
    put(out, " \"", share->name, "\"");
    if (open_to_everyone(*share) || has_no_lists(*share)) {
        put(out, options);
        return;
    }
    put(out, " allow:");
    shape_share_lists(share);
    if (info.sec_domain || info.sec_ads)
        strip_domain_prefix(share, info);
    write_joined(out, {share->ro_users, share->ro_groups, share->rw_users, share->rw_groups});
    if (is_set(share->ro_users) || is_set(share->ro_groups)) {
        put(out, " rolist:");
        write_joined(out, {share->ro_users, share->ro_groups});
    }
    put(out, options);
}

static void write_usb_volumes(Output& out, SHARE_INFO* share, const SYS_INFO& info) {
    for (const char* mount_point : usb_mount_points) {
        int fs_type = 0;
        if (share->atalk && isMounted(mount_point, &fs_type)) {
            put(out, "/mnt/", share->volume);
            write_rest_of_volume(out, share, read_only_on(*share, fs_type), info);
        }
        share = share->next;
        if (share == nullptr)
            break;
    }
}

static void write_share_volumes(Output& out, SHARE_INFO* share, const SYS_INFO& info) {
    for (; share != nullptr; share = share->next) {
        if (!share->atalk)
            continue;
        put(out, "/mnt/", share->volume, "/", share->name);
        write_rest_of_volume(out, share, share->read_only, info);
    }
}

static void write_volumes(Output& out, SHARE_INFO* shares, SHARE_INFO* usb_shares,
                          const SYS_INFO& info) {
    put(out, ":DEFAULT: options:usedots,upriv perm:0666 maccharset:",
        code_page_of(info.codepage).mac_charset, " volcharset:UTF8\n");
    if (info.info_visible)
        put(out, "/mnt/info \"info\" options:ro\n");
    write_usb_volumes(out, usb_shares, info);
    write_share_volumes(out, shares, info);
    put(out, "#####END#####\n");
}

static constexpr char pam_server_local[] =
    "auth      required   pam_smb_auth.so debug\n"
    "#auth     required   pam_unix.so\n"
    "#auth     required   pam_winbind.so debug\n"
    "account   required   pam_unix.so\n"
    "#account  required   pam_winbind.so debug\n";

static constexpr char pam_server[] =
    "auth      required   pam_smb_auth.so debug nolocal\n"
    "#auth     required   pam_unix.so\n"
    "#auth     required   pam_winbind.so debug\n"
    "account   required   pam_unix.so\n"
    "#account  required   pam_winbind.so debug\n";

static constexpr char pam_domain_local[] =
    "#auth     required   pam_smb_auth.so debug\n"
    "#auth     required   pam_unix.so\n"
    "auth      sufficient pam_winbind.so debug\n"
    "auth      required   pam_unix.so\n"
    "#account  required   pam_unix.so\n"
    "account   sufficient pam_winbind.so debug\n"
    "account   required   pam_unix.so\n";

static constexpr char pam_domain[] =
    "#auth     required   pam_smb_auth.so debug\n"
    "#auth     required   pam_unix.so\n"
    "auth      required   pam_winbind.so debug\n"
    "#account  required   pam_unix.so\n"
    "account   required   pam_winbind.so debug\n";

static constexpr char pam_workgroup[] =
    "#auth     required   pam_smb_auth.so debug\n"
    "auth      required   pam_unix.so\n"
    "#auth     required   pam_winbind.so debug\n"
    "account   required   pam_unix.so\n"
    "#account  required   pam_winbind.so debug\n";

static void write_pam(Output& out, const SYS_INFO& info) {
    put(out, "#%PAM-1.0\n");
    if (info.sec_server)
        put(out, info.local_auth ? pam_server_local : pam_server);
    else if (info.sec_domain || info.sec_ads)
        put(out, info.local_auth ? pam_domain_local : pam_domain);
    else
        put(out, pam_workgroup);
    put(out,
        "#password required   pam_cracklib.so\n"
        "#password required   pam_unix.so use_authtok\n"
        "session   required   pam_unix.so\n");
}

static void write_afpd(Output& out, const SYS_INFO& info) {
    const bool guests = !info.sec_domain && !info.sec_ads && !info.sec_server;
    put(out, "- -transall -uamlist ", guests ? "uams_guest.so," : "",
        "uams_clrtxt.so,uams_dhx.so -maccodepage ", code_page_of(info.codepage).mac_charset,
        " -unixcodepage UTF8\n");
}

int make_atalk_conf() {
    SHARE_INFO shares;
    SHARE_INFO usb_shares;
    SYS_INFO info;
    load_shareinfo(&shares);
    load_usbshareinfo(&usb_shares);
    load_info(&info);

    int result = write_conf("/etc/atalk/AppleVolumes.default",
                            [&](Output& out) { write_volumes(out, &shares, &usb_shares, info); });
    if (result == 0)
        result = write_conf("/etc/pam.d/netatalk", [&](Output& out) { write_pam(out, info); });
    if (result == 0)
        result = write_conf("/etc/atalk/afpd.conf", [&](Output& out) { write_afpd(out, info); });

    close_shareinfo(&shares);
    close_shareinfo(&usb_shares);
    return result;
}
