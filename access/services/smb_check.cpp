// Compares what Samba gives with what the settings mean.
#include "access/machine/model.h"
#include "access/services/smb_written.h"

#include <algorithm>

namespace tavrogen::access {

namespace {

using smb::info_file;
using smb::msdfs_file;
using smb::Written;

constexpr char offline_file[] = "/etc/korvel/offlinefile";

std::string quoted(const std::string& text) {
    return '"' + text + '"';
}

bool ends_in_backslash(const std::string& value) {
    const size_t last = value.find_last_not_of(" \t\v\f\r");
    return last != std::string::npos && value[last] == '\\';
}

// True also for one and the same folder.
bool is_inside(const std::string& folder, const std::string& other) {
    return other == "/" || (folder + '/').starts_with(other + '/');
}

class Check {
  public:
    explicit Check(const Machine& machine)
        : machine_(machine), conf_(machine), server_(conf_.server) {}

    std::vector<Finding> findings() {
        if (!server_.starts) {
            for (const Remark& remark : server_.remarks)
                add_stop(remark);
            return findings_;
        }
        for (const Written& written : conf_.shares)
            check(written);
        check_listing();
        check_who_may_list();
        check_global();
        return findings_;
    }

  private:
    void add(Effect effect, const std::string& file, int line, const std::string& who,
             const Cause& cause) {
        findings_.push_back({effect, file, line, {Service::smb}, who, cause.text, cause.cure});
    }

    void add_stop(const Remark& remark) {
        const Written* written = conf_.at(remark.line);
        const std::string who = "Samba does not start";
        const std::string& line = conf_.lines[static_cast<size_t>(remark.line) - 1];
        if (written == nullptr)
            return add(Effect::stops, "/etc/samba/smb.conf", remark.line, who, {remark.text, ""});
        const IntendedShare& share = written->share;
        if (!line.starts_with("    csc policy"))
            return add(Effect::stops, share.file, share.line,
                       (share.name.empty() ? "" : share.name + ": ") + who,
                       share.name.empty() ? odd_name(share) : Cause{remark.text, "rename it"});
        int number = 0;
        for (const std::string& record : lines_of(machine_.file(offline_file).value_or(""))) {
            ++number;
            const auto fields = fields_of(record);
            if (!fields.empty() && fields[0].substr(0, 59) == share.name)
                break;
        }
        add(Effect::stops, offline_file, number, share.name + ": " + who,
            {remark.text, "write manual, documents, programs or disable"});
    }

    // What is wrong with a share as a server reads it, without the cause.
    std::optional<Finding> difference(const smb::Server& server, const Written& written) const {
        const auto& people = machine_.people();
        std::vector<Right> given;
        bool elsewhere = false;
        const auto right_by = [&](const Person& person, Right meant, bool is_guest) {
            const auto access = smb::access_by(server, written.name, person, is_guest);
            const bool same = access.share == nullptr || access.folder == written.folder;
            elsewhere = elsewhere || !same;
            if (written.is_own())
                return same ? std::min(access.right, meant) : Right::none;
            if (same || (access.right > meant && is_there(access.folder)))
                return access.right;
            return Right::none;  // of the folder that is meant
        };
        for (size_t number = 0; number < people.size(); ++number)
            given.push_back(right_by(people[number], written.share.people[number], false));
        const Right guest = right_by(smb::guest_account(), written.share.guest, true);
        auto finding = compare(machine_, written.share, Service::smb, given, guest);
        std::string others = others_by(server, written, elsewhere);
        const bool exposes = !others.empty();
        if (others.empty() && leads_elsewhere(written.share))
            others = "it is the folder " + written.folder;
        if (others.empty())
            return finding;
        if (!finding) {
            finding.emplace();
            finding->file = written.share.file;
            finding->line = written.share.line;
            finding->services = {Service::smb};
            finding->effect = Effect::breaks;
        }
        if (exposes)
            finding->effect = Effect::exposes;
        finding->who += (finding->who.empty() ? written.share.name + ": " : ", ") + others;
        return finding;
    }

    // True for the folder of a share, too, whose disk may be away.
    bool is_there(const std::string& folder) const {
        return machine_.is_directory(folder) ||
               std::any_of(conf_.meant.begin(), conf_.meant.end(), [&](const IntendedShare& share) {
                   return plain_path(share.folder) == folder;
               });
    }

    // What a share gives of the folders of others, to people who are to have less of them.
    std::string others_by(const smb::Server& server, const Written& written, bool elsewhere) const {
        if (!elsewhere && written.share.file != msdfs_file && !leads_elsewhere(written.share))
            return "";
        std::string words;
        for (const IntendedShare& other : conf_.meant) {
            if (&other - conf_.meant.data() == index_of(written) || leads_elsewhere(other))
                continue;
            std::vector<size_t> gainers;
            const std::string folder = plain_path(other.folder);
            const auto gains = [&](const Person& person, Right meant, bool is_guest) {
                const auto access = smb::access_by(server, written.name, person, is_guest);
                return access.right > meant && !access.folder.empty() &&
                       (is_inside(folder, access.folder) ||
                        (!written.is_own() && is_inside(access.folder, folder)));
            };
            for (size_t number = 0; number < machine_.people().size(); ++number)
                if (gains(machine_.people()[number], other.people[number], false))
                    gainers.push_back(number);
            const bool guest = gains(smb::guest_account(), other.guest, true);
            if (gainers.empty() && !guest)
                continue;
            words += (words.empty() ? "" : ", ") +
                     (guest ? "anyone without an account" : in_words(machine_, gainers)) +
                     " gets into " + other.name;
        }
        return words;
    }

    // True when the name or the volume have "." or ".." parts, or name the volume itself: the folder
    // is another one's.
    static bool leads_elsewhere(const IntendedShare& share) {
        const std::string path = share.folder + '/';
        return path.find("/./") != std::string::npos || path.find("/../") != std::string::npos ||
               (!share.usb && !share.volume.empty() &&
                share.name.find_first_not_of('/') == std::string::npos);
    }

    std::ptrdiff_t index_of(const Written& written) const {
        for (size_t at = 0; at < conf_.meant.size(); ++at)
            if (conf_.meant[at].file == written.share.file &&
                conf_.meant[at].line == written.share.line)
                return static_cast<std::ptrdiff_t>(at);
        return -1;
    }

    void check(const Written& written) {
        const IntendedShare& share = written.share;
        const auto finding = difference(server_, written);
        const auto access = smb::access_by(server_, written.name, smb::guest_account(), true);
        if (finding) {
            const auto [cause, file, line] = place_of_cause(written, *finding);
            add(finding->effect, file, line, finding->who, cause);
        } else if (smb::fold(written.name) == "homes") {
            if (share.guest != Right::none)
                add(Effect::breaks, share.file, share.line,
                    share.name + ": without an account nobody reaches it", special(written));
            else
                add(Effect::looks, share.file, share.line,
                    share.name + ": it is everyone's own share, too", special(written));
        } else if (access.share != nullptr &&
                   smb::fold(smb::name_of(server_, *access.share, smb::guest_account())) !=
                       smb::fold(written.name)) {
            add(Effect::breaks, share.file, share.line,
                share.name + ": clients see another name, which leads nowhere",
                share.usb ? Cause{"the name has a quotation mark at its end", "rename it without"}
                          : odd_name(share));
        }
        if (access.share == nullptr)
            return;
        const std::string meant = share.comment + (share.read_only ? "(Read Only)" : "");
        const std::string shown = smb::comment_of(server_, *access.share, smb::guest_account());
        if (shown != meant &&
            !(finding && smb::fold(access.share->name) != smb::fold(written.name)))
            add_comment(written, shown);
    }

    void add_comment(const Written& written, const std::string& shown) {
        const auto* section = smb::section_of(server_, written);
        if (section == nullptr || !section->share || conf_.twin_of(written) != nullptr ||
            swallows_header(written) || !smb::is_utf8(shown))
            return;  // a finding of its own says why
        const IntendedShare& share = written.share;
        add(Effect::looks, share.file, share.line,
            share.name + ": clients read " + quoted(as_utf8(shown)), odd_comment(share.comment));
    }

    static Cause odd_comment(const std::string& comment) {
        Cause cause = odd_text(comment);
        cause.text = "the comment: " + cause.text;
        return cause;
    }

    static Cause special(const Written& written) {
        return {"Samba has a meaning of its own for the name " + quoted(written.name), "rename it"};
    }

    struct Place {
        Cause cause;
        std::string file;
        int line;
    };

    Place place_of_cause(const Written& written, const Finding& finding) const {
        const IntendedShare& share = written.share;
        const auto here = [&](const Cause& cause) { return Place{cause, share.file, share.line}; };
        const auto* section = smb::section_of(server_, written);
        const Setting link = setting(machine_, msdfs_file, "msdfs_link1_unc1");
        if (section == nullptr || swallows_header(written))
            return {
                {"the target of the link ends in a backslash, which takes the next line with it",
                 "end it otherwise"},
                msdfs_file,
                link.line};
        if (!section->share || smb::fold(written.name) == "homes" ||
            smb::fold(written.name) == "printers" || smb::fold(written.name) == "ipc$")
            return here(special(written));
        if (const Written* twin = conf_.twin_of(written)) {
            const Written& later = twin->is_own() || twin->line < written.line ? written : *twin;
            const Written& earlier = &later == twin ? written : *twin;
            return {{"Samba takes " + quoted(later.name) + " and " + quoted(earlier.name) + " of " +
                         earlier.share.file + ':' + std::to_string(earlier.share.line) +
                         " for one name",
                     "rename one of them"},
                    later.share.file,
                    later.share.line};
        }
        for (const Written& other : conf_.shares) {
            const auto* others = smb::section_of(server_, other);
            if (others == nullptr || others->share || other.line > written.line)
                continue;
            const auto without = difference(smb::parse(conf_.text_without(other)), written);
            if (!without || without->who != finding.who)
                return {special(other), other.share.file, other.share.line};
        }
        if (share.file == msdfs_file)
            return place_in_msdfs(written);
        const auto access = smb::access_by(server_, written.name, smb::guest_account());
        if (ends_in_backslash(share.comment) && !share.read_only)
            return here(odd_comment(share.comment));
        if (access.share == nullptr || access.folder != written.folder ||
            leads_elsewhere(written.share))
            return here(odd_path(written, access));
        Cause cause = odd_lists(machine_, share);
        if (cause.text.empty())
            cause = {"its lists are read otherwise", "list plain names of users and groups"};
        return here(cause);
    }

    static Cause odd_path(const Written& written, const smb::Access& access) {
        Cause cause = odd_name(written.share);
        if (cause.text.empty())
            cause = {access.share == nullptr
                         ? "no client can ask for the name " + quoted(written.name)
                         : "its folder is read as " + quoted(access.folder),
                     "rename it"};
        return cause;
    }

    Place place_in_msdfs(const Written& written) const {
        const Setting path = setting(machine_, msdfs_file, "msdfs_root_path");
        const Setting link = setting(machine_, msdfs_file, "msdfs_link1_unc1");
        const Person nobody = smb::guest_account();
        const auto* section = smb::section_of(server_, written);
        const smb::Share& share = server_.shares[*section->share];
        const bool found = smb::access_by(server_, written.name, nobody, true).share != nullptr;
        if (found || (share.path.empty() && share.msdfs_proxy.empty())) {
            const bool linked = setting(machine_, msdfs_file, "msdfs_root_as_link").value == "on";
            return {{found ? "the root of DFS is the folder " + quoted(path.value)
                           : "the root of DFS has neither a folder nor a target",
                     "give it a folder of its own"},
                    msdfs_file,
                    linked ? link.line : path.line};
        }
        return {odd_path(written, {}), msdfs_file, written.share.line};
    }

    // True for a root of DFS whose target continues its line: over the header of the next share.
    bool swallows_header(const Written& written) const {
        return written.share.file == msdfs_file && written.folder.empty() &&
               ends_in_backslash(setting(machine_, msdfs_file, "msdfs_link1_unc1").value);
    }

    // One name or comment that no client can decode, and the list of shares stays empty.
    void check_listing() {
        const std::string who = "no client can list the shares";
        const Person nobody = smb::guest_account();
        for (const smb::Share& share : server_.shares) {
            const Written* written = conf_.at(share.line);
            if (!share.available || written == nullptr)
                continue;
            const IntendedShare& of = written->share;
            if (!smb::is_utf8(smb::name_of(server_, share, nobody)))
                add(Effect::breaks, of.file, of.line, of.name + ": " + who,
                    of.usb || odd_name(of).text.empty() ? Cause{"the name is no UTF-8", "rename it"}
                                                        : odd_name(of));
            if (!smb::is_utf8(smb::comment_of(server_, share, nobody)))
                add(Effect::breaks, of.file, of.line, of.name + ": " + who,
                    {"the comment is no UTF-8, or longer than 99 bytes", "write it otherwise"});
        }
        const auto comment = server_.globals.find("serverstring");
        if (comment != server_.globals.end() &&
            !smb::is_utf8(smb::expand(server_, comment->second, nobody, nullptr)))
            add(Effect::breaks, info_file, setting(machine_, info_file, "string").line, who,
                {"the server's description is no UTF-8, or longer than 99 bytes",
                 "write it otherwise"});
    }

    // The lists of a share that Samba takes for its own part of the file hold for that part.
    void check_who_may_list() {
        std::vector<size_t> listing;
        for (size_t person = 0; person < machine_.people().size(); ++person)
            if (smb::may_list(server_, machine_.people()[person]))
                listing.push_back(person);
        if (!server_.ipc.valid_users)
            return;
        for (const Written& written : conf_.shares) {
            const auto* section = smb::section_of(server_, written);
            if (section == nullptr || (section->share && smb::fold(written.name) != "ipc$"))
                continue;
            add(Effect::breaks, written.share.file, written.share.line,
                written.share.name + ": " +
                    (listing.empty()
                         ? "no client can list the shares"
                         : "only " + in_words(machine_, listing) + " can list the shares"),
                special(written));
        }
    }

    // The values of [global] that the settings choose.
    void check_global() {
        const bool in_domain = server_.security != "user" && server_.security != "share";
        const Person nobody = smb::guest_account();
        const struct {
            const char* key;
            size_t limit;
            const char* name;
            const char* who;
            bool is_text;
        } rows[] = {
            {"string", 99, "serverstring", "the server's description", true},
            {"wg", 29, "workgroup", "the workgroup", false},
            {"ad_dns", 255, "realm", "the realm", false},
        };
        for (const auto& row : rows) {
            const Setting set = setting(machine_, info_file, row.key);
            const std::string meant = set.value.substr(0, row.limit);
            const auto read = server_.globals.find(row.name);
            if (set.line == 0 || read == server_.globals.end())
                continue;
            const std::string shown =
                row.is_text ? smb::unquoted(smb::expand(server_, read->second, nobody, nullptr))
                            : read->second;
            if (shown == meant || !smb::is_utf8(shown))
                continue;
            add(in_domain && !row.is_text ? Effect::breaks : Effect::looks, info_file, set.line,
                std::string(row.who) + ": it is " + quoted(shown), odd_text(meant));
        }
    }

    // What Samba reads otherwise in a text that is no path and no list.
    static Cause odd_text(const std::string& text) {
        if (ends_in_backslash(text))
            return {"it ends in a backslash, which takes the next line with it",
                    "end it otherwise"};
        if (text.find('%') != std::string::npos)
            return {"it has a variable of Samba's", "write it without %"};
        if (text.starts_with('"') || text.ends_with('"'))
            return {"it loses a quotation mark at its end", "write it without"};
        return {"it has blanks at its end or several in a row", "take them out"};
    }

    const Machine& machine_;
    const smb::WrittenConf conf_;
    const smb::Server& server_;
    std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> check_smb(const Machine& settings) {
    return Check(settings).findings();
}

}  // namespace tavrogen::access
