// Writes /etc/samba/smb.conf (here its [global] section) and /etc/pam_smb.conf.
#include "conf/load_config.h"
#include "util/utils.h"
#include "writers/samba_shares.h"
#include "writers/write_conf.h"
#include "writers/writers.h"

static constexpr char winbind_block[] =
    "    logon path =\n"
    "    logon home =\n"
    "    lm announce = False\n"
    "    local master = No\n"
    "    domain master = False\n"
    "    idmap uid = 10000-11000\n"
    "    idmap gid = 10000-11000\n"
    "    template shell = /bin/bash\n"
    "    template homedir = /home\n"
    "    winbind separator = +\n"
    "    winbind use default domain = yes\n";

// The security mode and the lines that go with it.
static void write_security(Output& out, const SYS_INFO& info) {
    const char* const winbind_methods =
        info.local_auth ? "    auth methods = guest winbind:ntdomain sam_ignoredomain\n"
                        : "    auth methods = guest sam winbind:ntdomain\n";
    const char* const server_methods = info.local_auth
                                           ? "    auth methods = guest smbserver sam_ignoredomain\n"
                                           : "    auth methods = guest sam smbserver\n";
    if (info.sec_domain) {
        put(out, "    security = domain\n");
        put(out, winbind_methods);
        put(out, "    password server = ", info.pdc, "\n");
        put(out, winbind_block);
    } else if (info.sec_ads) {
        put(out, "    security = ADS\n");
        put(out, winbind_methods);
        put(out, "    realm = ", info.ad_dns, "\n");
        put(out, "    password server = ", info.pdc, ".", info.ad_dns, "\n");
        put(out, winbind_block);
    } else if (info.sec_server) {
        put(out, "    security = server\n");
        put(out, server_methods);
        put(out, "    password server = ", info.auth_server, "\n");
        if (info.auth_user_auto_add)
            put(out, "    add user script = /usr/local/bin/vnt_smb_useradd.pl '%u'\n");
    } else if (info.sec_share) {
        put(out,
            "    security = share\n"
            "    auth methods = guest sam\n");
    } else {
        put(out,
            "    security = user\n"
            "    auth methods = guest sam\n");
    }
}

static void write_global(Output& out, const SYS_INFO& info, const MSDFS_INFO& msdfs) {
    put(out, "[global]\n");
    put(out, "    dos charset = ", IconvCodeCharset(info.codepage), "\n");
    put(out,
        "    unix charset = UTF-8\n"
        "    display charset = UTF-8\n");
    put(out, "    netbios name = ", info.hostname, "\n");
    put(out, "    server string = ", info.string, "\n");
    put(out, info.mtu ? "    socket options = TCP_NODELAY SO_RCVBUF=262144 SO_SNDBUF=262144\n"
                      : "    socket options = TCP_NODELAY SO_RCVBUF=65536 SO_SNDBUF=65536\n");
    put(out,
        "    use mmap = yes\n"
        "    use sendfile = yes\n"
        "    os level = 1\n");
    put(out, "    wins server = ", info.wins, "\n\n");
    put(out, "    workgroup = ", info.wg, "\n");
    write_security(out, info);
    put(out,
        "    passdb backend = tdbsam:/etc/samba/smbpasswd.tdb\n"
        "    encrypt passwords = Yes\n"
        "    passwd program = /usr/bin/passwd %u\n"
        "    passwd chat = *New*password* %n\\n *Retype*new*password* %n\\n "
        "*passwd:*all*authentication*tokens*updated*successfully*\n"
        "    unix password sync = yes\n"
        "    guest account = nobody\n"
        "    null passwords = yes\n"
        "    guest only = no\n"
        "    password level = 14\n"
        "    map to guest = Bad User\n"
        "\n"
        "    veto files = /.AppleDesktop/Network Trash Folder/TheVolumeSettingsFolder/"
        ".AppleDouble/.AppleDB/\n"
        "    delete veto files = yes\n"
        "\n"
        "    deadtime = 15\n"
        "    invalid users = mail, deamon\n"  // Kept: "deamon" is spelt so, not "daemon".
        "    admin users = root\n"
        "    username map = /etc/samba/smbusers\n"
        "\n"
        "    log level = 1\n"
        "    max log size = 200\n"
        "\n"
        "    lock directory = /etc/samba/lock\n"
        "\n"
        "    dos filetimes = Yes\n"
        "    dos filetime resolution = Yes\n"
        "    map archive = Yes\n"
        "    map hidden = No\n"
        "    map system = No\n"
        "    dns proxy = No\n"
        "    show add printer wizard = No\n");
    // Kept: "Yes" has a capital letter and "no" has none.
    put(out, msdfs.enabled ? "    host msdfs = Yes\n" : "    host msdfs = no\n");
    put(out,
        "    disable spoolss = yes\n"
        "    load printers = no\n");
}

static void write_pam_smb_conf(Output& out, const SYS_INFO& info) {
    if (info.sec_server)  // the server is both the primary and the backup controller
        put(out, info.wg, ",", info.auth_server, ",", info.auth_server, "\n");
    else
        put(out, "\n");
}

int make_samba_conf() {
    samba_inputs inputs;
    load_shareinfo(&inputs.shares);
    inputs.usb_share_count = load_usbshareinfo(&inputs.usb_shares);
    load_info(&inputs.info);
    load_msdfsinfo(&inputs.msdfs);
    load_offlinefile(&inputs.offline);
    load_shareinfo_hidden(&inputs.hidden);
    load_shareinfo_vfs(&inputs.vfs);

    int result = write_conf("/etc/samba/smb.conf", [&](Output& out) {
        write_global(out, inputs.info, inputs.msdfs);
        write_samba_shares(out, &inputs);
    });
    if (result == 0)
        result = write_conf("/etc/pam_smb.conf",
                            [&](Output& out) { write_pam_smb_conf(out, inputs.info); });

    close_shareinfo(&inputs.shares);
    close_shareinfo(&inputs.usb_shares);
    close_msdfsinfo(&inputs.msdfs);
    close_offlinefile(&inputs.offline);
    close_shareinfo_hidden(&inputs.hidden);
    close_shareinfo_vfs(&inputs.vfs);
    return result;
}
