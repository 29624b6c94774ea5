// Compares what Samba gives with what the settings mean.
#include "access/model.h"
#include "access/smb_conf.h"

#include <algorithm>

namespace rights {

namespace {

constexpr char info_file[] = "/etc/korvel/info";
constexpr char msdfs_file[] = "/etc/korvel/msdfs";
constexpr char offline_file[] = "/etc/korvel/offlinefile";
constexpr char smb_conf[] = "/etc/samba/smb.conf";

// A share that the program has written into smb.conf: one of a share list, or one of its own.
struct Written {
    IntendedShare share;
    std::string name;    // that clients are meant to see
    std::string folder;  // without "." and ".." parts; empty: a link elsewhere
    int line;            // of its header in smb.conf
};

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
        : machine_(machine), shares_(intended_shares(machine)),
          text_(machine.file(smb_conf).value_or("")), server_(smb::parse(text_)) {
        find_written();
    }

    std::vector<Finding> findings() {
        if (!server_.starts) {
            for (const Remark& remark : server_.remarks)
                add_stop(remark);
            return findings_;
        }
        for (const Written& written : written_)
            check(written);
        check_listing();
        check_global();
        return findings_;
    }

  private:
    // --- Where the program has written what.

    // The line of a header that its comment follows; 0 when there is none behind the line `after`.
    int line_of(const std::string& header, const std::string& comment, int after = 0) const {
        const std::string next = "    comment = " + comment;
        for (size_t at = static_cast<size_t>(after); at + 1 < lines_.size(); ++at)
            if (lines_[at + 1].starts_with(next) && (header.empty() || lines_[at] == header))
                return static_cast<int>(at) + 1;
        return 0;
    }

    void find_written() {
        lines_ = lines_of(text_);
        add_own("Quarvane DFS folder", msdfs_file, "msdfs_root_name", Right::read,
                setting(machine_, msdfs_file, "msdfs_root_as_link").value == "on"
                    ? ""
                    : setting(machine_, msdfs_file, "msdfs_root_path").value.substr(0, 255));
        add_own("Quarvane Utilities", info_file, "info_visible", Right::read, "/mnt/info");
        int line = written_.empty() ? 0 : written_.back().line;
        for (const bool usb : {true, false})
            for (const IntendedShare& share : shares_) {
                if (share.usb != usb || !share.services.contains(Service::smb))
                    continue;
                const std::string name = share.name + (share.hidden ? "$" : "");
                const int found = line_of('[' + name + ']', share.comment, line);
                if (found == 0)
                    continue;
                line = found;
                written_.push_back({share, name, smb::plain_path(share.folder), line});
                if (server_.security == "share" && share.open_to_all() && !usb)
                    mean_for_admin(&written_.back().share);
            }
        add_own("Quarvane authentication test folder", info_file, "auth_test_folder", Right::none,
                "/mnt/authtest");
    }

    // A share of the program's own, if it is there: everybody may read it.
    void add_own(const char* comment, const char* file, const char* key, Right guest,
                 const std::string& folder) {
        const int line = line_of("", std::string(comment));
        if (line == 0)
            return;
        IntendedShare share;
        share.name = lines_[static_cast<size_t>(line) - 1];
        share.name = share.name.size() < 2 ? "" : share.name.substr(1, share.name.size() - 2);
        share.comment = comment;
        share.file = file;
        share.line = setting(machine_, file, key).line;
        share.services = {Service::smb};
        share.people.assign(machine_.people().size(), Right::read);
        share.guest = guest;
        written_.push_back(
            {share, share.name, folder.empty() ? "" : smb::plain_path(folder), line});
    }

    // Where the connection and not the person is asked for the password, this is all that is meant.
    void mean_for_admin(IntendedShare* share) const {
        for (size_t person = 0; person < share->people.size(); ++person)
            if (machine_.people()[person].name != "admin")
                share->people[person] = Right::none;
        share->guest = Right::none;
    }

    const Written* written_at(int line) const {
        const Written* found = nullptr;
        for (const Written& written : written_)
            if (written.line <= line && (found == nullptr || found->line < written.line))
                found = &written;
        return found;
    }

    // The section that the share's lines have come to; NULL when its header is none.
    static const smb::Section* section_of(const smb::Server& server, const Written& written) {
        for (const smb::Section& section : server.sections)
            if (section.line == written.line)
                return &section;
        return nullptr;
    }

    // --- Findings.

    void add(Effect effect, const std::string& file, int line, const std::string& who,
             const Cause& cause) {
        findings_.push_back({effect, file, line, {Service::smb}, who, cause.text, cause.cure});
    }

    void add_stop(const Remark& remark) {
        const Written* written = written_at(remark.line);
        const std::string who = "Samba does not start";
        const std::string& line = lines_[static_cast<size_t>(remark.line) - 1];
        if (written == nullptr)
            return add(Effect::stops, smb_conf, remark.line, who, {remark.text, ""});
        const IntendedShare& share = written->share;
        if (!line.starts_with("    csc policy"))
            return add(Effect::stops, share.file, share.line, share.name + ": " + who,
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
            if (is_own(written))
                return same ? std::min(access.right, meant) : Right::none;
            if (same || (access.right > meant && machine_.is_directory(access.folder)))
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

    // What a share gives of the folders of others, to people who are to have less of them.
    std::string others_by(const smb::Server& server, const Written& written, bool elsewhere) const {
        if (!elsewhere && written.share.file != msdfs_file && !leads_elsewhere(written.share))
            return "";
        std::string words;
        for (const IntendedShare& other : shares_) {
            if (&other - shares_.data() == index_of(written) || leads_elsewhere(other))
                continue;
            std::vector<size_t> gainers;
            const std::string folder = smb::plain_path(other.folder);
            const auto gains = [&](const Person& person, Right meant, bool is_guest) {
                const auto access = smb::access_by(server, written.name, person, is_guest);
                return access.right > meant && !access.folder.empty() &&
                       (is_inside(folder, access.folder) ||
                        (!is_own(written) && is_inside(access.folder, folder)));
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

    // True for a share of the program's own.
    static bool is_own(const Written& written) {
        return written.share.file != share_file && written.share.file != usb_share_file;
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
        for (size_t at = 0; at < shares_.size(); ++at)
            if (shares_[at].file == written.share.file && shares_[at].line == written.share.line)
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
        } else if (access.share != nullptr && smb::fold(written.name) == "homes") {
            add(Effect::looks, share.file, share.line,
                share.name + ": it is everyone's own share, too", special(written));
        } else if (access.share != nullptr &&
                   smb::name_of(server_, *access.share, smb::guest_account()) != written.name &&
                   smb::fold(written.name) !=
                       smb::fold(smb::name_of(server_, *access.share, smb::guest_account()))) {
            add(Effect::breaks, share.file, share.line,
                share.name + ": clients see another name, which leads nowhere", odd_name(share));
        }
        if (access.share == nullptr)
            return;
        const std::string meant =
            share.comment +
            (share.file == share_file || share.usb ? share.read_only ? "(Read Only)" : "" : "");
        const std::string shown = smb::comment_of(server_, *access.share, smb::guest_account());
        if (shown != meant &&
            !(finding && smb::fold(access.share->name) != smb::fold(written.name)))
            add_comment(written, shown);
    }

    void add_comment(const Written& written, const std::string& shown) {
        const auto* section = section_of(server_, written);
        if (section == nullptr || !section->share || is_merged(written))
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

    bool is_merged(const Written& written) const { return twin_of(written) != nullptr; }

    // Another share whose lines have come to the same section; the last one but this.
    const Written* twin_of(const Written& written) const {
        const auto* section = section_of(server_, written);
        const Written* twin = nullptr;
        for (const Written& other : written_) {
            const auto* others = section_of(server_, other);
            if (&other != &written && section != nullptr && others != nullptr && section->share &&
                section->share == others->share)
                twin = &other;
        }
        return twin;
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
        const auto* section = section_of(server_, written);
        if (section == nullptr) {
            const Setting link = setting(machine_, msdfs_file, "msdfs_link1_unc1");
            return {{"its target ends in a backslash, which takes the next line with it",
                     "end it otherwise"},
                    msdfs_file,
                    link.line};
        }
        if (!section->share || smb::fold(written.name) == "homes" ||
            smb::fold(written.name) == "printers" || smb::fold(written.name) == "ipc$")
            return here(special(written));
        if (const Written* twin = twin_of(written)) {
            const bool is_own =
                twin->share.file != share_file && twin->share.file != usb_share_file;
            const Written& later = is_own || twin->line < written.line ? written : *twin;
            const Written& earlier = &later == twin ? written : *twin;
            return {{"Samba takes " + quoted(later.name) + " and " + quoted(earlier.name) + " of " +
                         earlier.share.file + ':' + std::to_string(earlier.share.line) +
                         " for one name",
                     "rename one of them"},
                    later.share.file,
                    later.share.line};
        }
        for (const Written& other : written_) {
            const auto* others = section_of(server_, other);
            if (others == nullptr || others->share || other.line > written.line)
                continue;
            const auto without = difference(smb::parse(text_without(other)), written);
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

    Cause odd_path(const Written& written, const smb::Access& access) const {
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
        const auto* section = section_of(server_, written);
        const smb::Share& share = server_.shares[*section->share];
        const bool found = smb::access_by(server_, written.name, nobody, true).share != nullptr;
        if (found || (share.path.empty() && share.msdfs_proxy.empty())) {
            const bool linked = written.folder.empty() && !path.line;
            return {{found ? "the root of DFS is the folder " + quoted(path.value)
                           : "the root of DFS has neither a folder nor a target",
                     "give it a folder of its own"},
                    msdfs_file,
                    linked ? link.line : path.line};
        }
        return {odd_path(written, {}), msdfs_file, written.share.line};
    }

    // smb.conf without a share's lines.
    std::string text_without(const Written& written) const {
        std::string text;
        int number = 0;
        int end = static_cast<int>(lines_.size()) + 1;
        for (const Written& other : written_)
            if (other.line > written.line)
                end = std::min(end, other.line);
        for (const std::string& line : lines_)
            if (++number < written.line || number >= end)
                text += line + '\n';
        return text;
    }

    // One name or comment that no client can decode, and the list of shares stays empty.
    void check_listing() {
        const std::string who = "no client can list any share";
        const Person nobody = smb::guest_account();
        for (const smb::Share& share : server_.shares) {
            const Written* written = written_at(share.line);
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
        const std::string comment =
            smb::expand(server_, server_.globals["serverstring"], nobody, nullptr);
        if (!smb::is_utf8(comment))
            add(Effect::breaks, info_file, setting(machine_, info_file, "string").line, who,
                {"the server's description is no UTF-8, or longer than 99 bytes",
                 "write it otherwise"});
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
    std::vector<IntendedShare> shares_;
    std::string text_;
    std::vector<std::string> lines_;
    smb::Server server_;
    std::vector<Written> written_;
    std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> check_smb(const Machine& settings) {
    return Check(settings).findings();
}

}  // namespace rights
