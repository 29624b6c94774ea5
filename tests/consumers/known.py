"""All that the services of Debian 12 refuse, ignore or grant otherwise than the settings mean.

The program writes these lines and rights on purpose: the appliance's own, older services read
them. A test that finds more than its entry here, or less, fails.
"""
KNOWN = {
    "testparm ignores": {
        "display charset": "gone since Samba 4.0",
        "auth methods": "gone since Samba 4.9",
        "password level": "gone since Samba 4.0: only plain text passwords ever needed it",
    },
    "testparm refuses": {
        "security = server": "gone since Samba 4.0",
        "security = share": "gone since Samba 4.0",
    },
    "proftpd refuses": {
        "CharsetLocal            UTF-8": "a directive of the appliance's own FTP server",
        "CharsetRemote           CP932": "a directive of the appliance's own FTP server",
        "  </Limit READ>": "the closing tag carries the word READ",
    },
    "rsyslogd refuses or warns about": {
        "*.emerg\t*": "deprecated for :omusrmsg:*, still understood",
        "local0.*\t@": "forwarding switched on without a target",
        "local6.=info\t@": "forwarding switched on without a target",
    },
    "PAM modules gone": {
        "ftp: pam_smb_auth.so": "not in Debian: no FTP login by an external server",
        "netatalk: pam_smb_auth.so": "not in Debian: no AppleTalk login by an external server",
    },
    "SMB rights": {},
    "FTP rights": {
        "guest on setup: nothing, not read and write":
            "the administrators' line names guest, whose logins the anonymous section takes",
        "guest on camera: nothing, not read":
            "the anonymous section hides USB disks whatever their shares say",
        "anonymous on camera: nothing, not read":
            "the anonymous section hides USB disks whatever their shares say",
    },
}
