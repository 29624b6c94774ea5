// The floor of `-c samba`: the same bytes for an appliance of ordinary shares in as few steps as
// the work allows. It streams the shares, takes nothing from the heap and handles no error. It
// knows no USB shares, no MSDFS, no domain and no marks in a list.
#include <fcntl.h>
#include <stdint.h>
#include <string.h>
#include <unistd.h>

struct field {
    const char* text;
    size_t length;
};

static char out[65536], *to = out;

static void put_one(char byte) {
    *to++ = byte;
}

static void put_one(field text) {
    memcpy(to, text.text, text.length);
    to += text.length;
}

template <size_t size>
static void put_one(const char (&text)[size]) {
    put_one(field{text, size - 1});
}

template <class... Texts>
static void put(const Texts&... texts) {
    (put_one(texts), ...);
}

static void write_to(int file) {
    (void)!write(file, out, static_cast<size_t>(to - out));
    to = out;
}

static size_t load(const char* path, char* buffer, size_t size) {
    const int in = open(path, O_RDONLY);
    size_t length = 0;
    for (ssize_t some; (some = read(in, buffer + length, size - length)) > 0;)
        length += static_cast<size_t>(some);
    close(in);
    return length;
}

static field setting(const char* key) {
    static char text[65536] = "\n";
    if (text[1] == '\0')
        load("/etc/korvel/info", text + 1, sizeof text - 2);
    const char* value = strstr(text, key) + strlen(key);
    return {value, strcspn(value, "\n")};
}

// The field at a cursor, which goes to the next one.
static field take(const char*& at) {
    const char* text = at;
    while (*at != '<' && *at != '\n')
        ++at;
    const field taken = {text, static_cast<size_t>(at - text)};
    at += *at == '<' ? 2 : 1;
    return taken;
}

static bool take_switch(const char*& at) {
    return take(at).length == 2;  // "on"
}

// A side list in any order, whole, with a table that finds a line by its name.
struct side_list {
    static constexpr unsigned slots = 32768;
    char text[1 << 20];
    uint32_t offsets[slots];  // of the lines, from 1

    uint32_t* slot(field name) {
        unsigned hash = 0;
        for (size_t i = 0; i < name.length; ++i)
            hash = (hash ^ static_cast<unsigned char>(name.text[i])) * 16777619;
        for (;; ++hash) {
            uint32_t* found = &offsets[hash % slots];
            const char* line = text + *found;
            if (*found == 0 ||
                (memcmp(line, name.text, name.length) == 0 && line[name.length] == '<'))
                return found;
        }
    }

    void read(const char* path) {
        const char* const end = text + 1 + load(path, text + 1, sizeof text - 1);
        for (const char* line = text + 1; line < end;) {
            const char* at = line;
            uint32_t* found = slot(take(at));
            if (*found == 0)
                *found = static_cast<uint32_t>(line - text);
            line = strchr(at, '\n') + 1;
        }
    }

    // What follows the name in its line, or NULL.
    const char* find(field name) {
        const uint32_t offset = *slot(name);
        return offset == 0 ? nullptr : text + offset + name.length + 2;
    }
};
static side_list hidden, offline, vfs;

// A list after the one that begins at `start`.
static void put_list(const char* start, field list, bool groups) {
    if (list.length != 0 && to != start)
        put(',');
    bool quoted = false;
    for (size_t i = 0; i < list.length; ++i) {
        const char byte = list.text[i];
        if (groups && (i == 0 || list.text[i - 1] == ','))
            put('@');
        if (quoted && byte == ',')
            put('"');
        put(byte);
        if (byte == '+')
            put('"');
        quoted = byte == '+' || (quoted && byte != ',');
    }
    if (quoted)
        put('"');
}

static void put_access(field rw_users, field rw_groups, field ro_users, field ro_groups) {
    if (rw_users.length == 3 && memcmp(rw_users.text, "all", 3) == 0) {
        put("    guest ok = yes\n");
        return;
    }
    put("    valid users = ");
    const char* const start = to;
    put_list(start, ro_users, false);
    put_list(start, ro_groups, true);
    const field read_only = {start, static_cast<size_t>(to - start)};
    put_list(start, rw_users, false);
    put_list(start, rw_groups, true);
    put('\n');
    if (read_only.length == 0)
        return;
    put("    read list = ");
    if (ro_users.length == 0)
        put(',');
    put(read_only, '\n');
}

static void put_vfs(const char* record, bool trashbox) {
    const bool trash = record != nullptr && take_switch(record);
    const bool audit = record != nullptr && take_switch(record);
    const bool recycle = trash || (trashbox && !audit);
    if (recycle && audit)
        put("    vfs objects = recycle, audit\n");
    else if (recycle)
        put("    vfs objects = recycle\n");
    else if (audit)
        put("    vfs objects = audit\n");
    if (recycle)
        put("    recycle:repository = trashbox\n    recycle:keeptree = 1\n"
            "    recycle:versions = 1\n    recycle:directory_mode = 777\n");
    if (audit)
        put("    audit:facility = LOCAL6\n    audit:priority = INFO\n");
}

static void put_share(const char*& at) {
    const field name = take(at), volume = take(at), comment = take(at);
    const field rw_users = take(at), rw_groups = take(at), ro_users = take(at),
                ro_groups = take(at);
    // Numbers of one digit.
    const bool smb = at[0] == '1', read_only = at[14] == '1', trashbox = at[17] == '1';
    at += 25;
    if (!smb)
        return;

    put('[', name);
    const char* record = hidden.find(name);
    if (record != nullptr && !take_switch(record))
        put('$');
    put("]\n    comment = ", comment);
    if (read_only)
        put("(Read Only)");
    put("\n    path = /mnt/", volume, '/', name, "\n    browsable = yes\n    printable = no\n");
    if (read_only)
        put("    writable = no\n");
    else
        put("    writable = yes\n");
    put_access(rw_users, rw_groups, ro_users, ro_groups);
    put("    force create mode = 666\n    force directory mode = 777\n");
    record = offline.find(name);
    if (record != nullptr) {
        const bool enabled = take_switch(record);
        put("    csc policy = ", enabled ? take(record) : field{"disable", 7}, '\n');
    }
    put_vfs(vfs.find(name), trashbox);
    put("###", name, "###\n");
}

static void put_shares(int file) {
    static char input[65536];
    const int shares = open("/etc/korvel/shareinfo", O_RDONLY);
    size_t held = 0;
    for (ssize_t some; (some = read(shares, input + held, sizeof input - held)) > 0;) {
        held += static_cast<size_t>(some);
        const char* at = input;
        const char* const end = static_cast<const char*>(memrchr(input, '\n', held)) + 1;
        while (at < end) {
            if (to - out > 60000)
                write_to(file);
            put_share(at);
        }
        held -= static_cast<size_t>(end - input);
        memmove(input, end, held);
    }
    close(shares);
}

static void put_global() {
    char host[64];
    gethostname(host, sizeof host);
    put("[global]\n    dos charset = ", setting("\ncodepage="),
        "\n    unix charset = UTF-8\n    display charset = UTF-8\n    netbios name = ",
        field{host, strcspn(host, ".")}, "\n    server string = ", setting("\nstring="),
        "\n    socket options = TCP_NODELAY SO_RCVBUF=262144 SO_SNDBUF=262144\n"
        "    use mmap = yes\n    use sendfile = yes\n    os level = 1\n    wins server = ",
        setting("\nwins="), "\n\n    workgroup = ", setting("\nwg="),
        R"(
    security = user
    auth methods = guest sam
    passdb backend = tdbsam:/etc/samba/smbpasswd.tdb
    encrypt passwords = Yes
    passwd program = /usr/bin/passwd %u
    passwd chat = *New*password* %n\n *Retype*new*password* %n\n )"
        R"(*passwd:*all*authentication*tokens*updated*successfully*
    unix password sync = yes
    guest account = nobody
    null passwords = yes
    guest only = no
    password level = 14
    map to guest = Bad User

    veto files = /.AppleDesktop/Network Trash Folder/TheVolumeSettingsFolder/.AppleDouble/.AppleDB/
    delete veto files = yes

    deadtime = 15
    invalid users = mail, deamon
    admin users = root
    username map = /etc/samba/smbusers

    log level = 1
    max log size = 200

    lock directory = /etc/samba/lock

    dos filetimes = Yes
    dos filetime resolution = Yes
    map archive = Yes
    map hidden = No
    map system = No
    dns proxy = No
    show add printer wizard = No
    host msdfs = no
    disable spoolss = yes
    load printers = no
[info]
    comment = Quarvane Utilities
    path = /mnt/info
    browsable = yes
    printable = no
    writable = no
    guest ok = yes
    csc policy = disable
)");
}

static int create(const char* path) {
    return open(path, O_WRONLY | O_CREAT | O_TRUNC, 0666);
}

int main() {
    hidden.read("/etc/korvel/shareinfo.hidden");
    offline.read("/etc/korvel/offlinefile");
    vfs.read("/etc/korvel/shareinfo.vfs");
    const int conf = create("/etc/samba/smb.conf");
    put_global();
    put_shares(conf);
    put("#####END#####\n");
    write_to(conf);
    put('\n');
    write_to(create("/etc/pam_smb.conf"));
    put("optarg:samba\nload_info ItemValue = ", setting("\ndomain="),
        "\nLoadConfFileString:key=[msdfs_link1_name] not found in /etc/korvel/msdfs.\n"
        "file:/etc/samba/smb.conf\n>IconvCodeCharset CodePage=0,charset=",
        setting("\ncodepage="), "\nfile:/etc/pam_smb.conf\n");
    write_to(STDOUT_FILENO);
    return 0;
}
