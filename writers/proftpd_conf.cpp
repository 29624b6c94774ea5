// Writes /etc/proftpd/proftpd.conf (here its global section and the TLS block) and /etc/pam.d/ftp.
#include "conf/load_config.h"
#include "util/utils.h"
#include "writers/proftpd_sections.h"
#include "writers/write_conf.h"
#include "writers/writers.h"

static void write_global_section(Output& out, const SYS_INFO& info) {
    put(out,
        "ServerName              Quarvane\n"
        "ServerType              standalone\n"
        "DefaultServer           on\n"
        "ServerIdent             off\n"
        "\n"
        "AuthPAM                 on\n"
        "AuthPAMConfig           ftp\n"
        "AuthOrder               mod_auth_pam.c* mod_auth_unix.c\n"
        "\n"
        "Port                    21\n"
        "Umask                   000\n"
        "TimesGMT                off\n"
        "UseReverseDNS           off\n"
        "MaxInstances            100\n"
        "User                    nobody\n"
        "Group                   nogroup\n"
        "RootLogin               off\n"
        "DefaultRoot             /mnt\n"
        "DefaultTransferMode     binary\n"
        "TimeoutIdle             900\n"
        "TimeoutNoTransfer       900\n"
        "TimeoutLogin            120\n"
        "ShowSymLinks            off\n"
        "CharsetLocal            UTF-8\n");
    put(out, "CharsetRemote           ", IconvCodeCharset(info.codepage), "\n");
    put(out,
        "\n"
        "ScoreboardFile          /var/log/scoreboardfile\n"
        "\n"
        "AllowStoreRestart       on\n"
        "AllowRetrieveRestart    on\n"
        "AllowOverwrite          on\n"
        "\n"
        "SocketOptions rcvBuf    131070\n"
        "SocketOptions sndBuf    131070\n"
        "\n");
}

static constexpr char tls_block[] =
    "\n"
    "<IfModule mod_tls.c>\n"
    "TLSEngine on\n"
    "TLSProtocol SSLv23\n"
    "TLSCipherSuite ALL:!ADH:RC4+RSA:+HIGH:+MEDIUM:+LOW:+SSLv2:+EXP\n"
    "# Are clients required to use FTP over TLS when talking to this server?\n"
    "TLSRequired off\n"
    "# Server's certificate\n"
    "TLSRSACertificateFile /etc/apache/server.crt\n"
    "TLSRSACertificateKeyFile /etc/apache/server.key\n"
    "# Authenticate clients that want to use FTP over TLS?\n"
    "TLSVerifyClient off\n"
    "</IfModule>\n";

static void write_sections(Output& out, const proftpd_inputs& inputs) {
    const SYS_INFO& info = inputs.info;
    write_global_section(out, info);
    const SHARE_INFO* third_usb_share = write_user_section(out, inputs);
    if (!info.sec_domain && !info.sec_ads && !info.sec_server) {
        write_anonymous_section(out, inputs, third_usb_share);
        if (inputs.share_count == 0)
            return;  // Kept: without shares the anonymous section is the last, and there is no TLS.
    }
    // Loaded only now: a missing key is reported after the messages of the sections.
    if (load_ssl_ftp() == 1)
        put(out, tls_block);
}

static constexpr char pam_local[] =
    "auth     required   pam_listfile.so item=user sense=deny file=/etc/ftpusers onerr=succeed\n"
    "#auth    required   pam_smb_auth.so debug\n"
    "#auth    required   pam_unix.so nullok\n"
    "auth     required   pam_unix.so\n"
    "#auth    required   pam_winbind.so debug\n"
    "account  required   pam_unix.so\n"
    "#account required   pam_winbind.so\n"
    "session  required   pam_unix.so\n";

static constexpr char pam_domain[] =
    "#auth    required   pam_listfile.so item=user sense=deny file=/etc/ftpusers onerr=succeed\n"
    "#auth    required   pam_smb_auth.so debug\n"
    "#auth    required   pam_unix.so nullok\n"
    "#auth    required   pam_unix.so\n"
    "auth     required   pam_winbind.so debug\n"
    "#account required   pam_unix.so\n"
    "account  required   pam_winbind.so\n"
    "session  required   pam_unix.so\n";

static constexpr char pam_server_head[] =  // " nolocal" or nothing ends its second line
    "#auth    required   pam_listfile.so item=user sense=deny file=/etc/ftpusers onerr=succeed\n"
    "auth     required   pam_smb_auth.so debug";

static constexpr char pam_server_tail[] =
    "#auth    required   pam_unix.so nullok\n"
    "#auth    required   pam_unix.so\n"
    "#auth    required   pam_winbind.so debug\n"
    "account  required   pam_unix.so\n"
    "#account required   pam_winbind.so\n"
    "session  required   pam_unix.so\n";

static void write_pam(Output& out, const SYS_INFO& info) {
    if (info.sec_server)
        put(out, pam_server_head, info.local_auth ? "\n" : " nolocal\n", pam_server_tail);
    else
        put(out, info.sec_domain || info.sec_ads ? pam_domain : pam_local);
}

int make_proftpd_conf() {
    proftpd_inputs inputs = {};
    inputs.share_count = load_shareinfo(&inputs.shares);
    if (inputs.share_count == -1)
        inputs.share_count = 0;  // a list that could not be loaded counts as empty
    inputs.usb_share_count = load_usbshareinfo(&inputs.usb_shares);
    load_info(&inputs.info);
    int group_count = 0;
    load_groupinfo(&inputs.groups, &group_count);
    load_msdfsinfo(&inputs.msdfs);

    int result =
        write_conf("/etc/proftpd/proftpd.conf", [&](Output& out) { write_sections(out, inputs); });
    if (result == 0)
        result = write_conf("/etc/pam.d/ftp", [&](Output& out) { write_pam(out, inputs.info); });

    close_msdfsinfo(&inputs.msdfs);
    close_shareinfo(&inputs.shares);
    close_shareinfo(&inputs.usb_shares);
    // Kept: no trace, where one expects those of close_groupinfo().
    release_groupinfo(&inputs.groups);
    return result;
}
