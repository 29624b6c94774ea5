// Compares what Samba gives with what the settings mean.
#include "access/machine/text.h"
#include "access/services/judge.h"
#include "access/services/smb_written.h"
#include "include/sys_info.h"

#include <algorithm>

namespace tavrogen::access {

namespace {

using smb::Written;

constexpr char conf_file[] = "/etc/samba/smb.conf";

// True also for one and the same folder.
bool is_inside(const std::string& folder, const std::string& other) {
    return other == "/" || (folder + '/').starts_with(other + '/');
}

class Judge {
  public:
    explicit Judge(const Machine& machine)
        : machine_(machine), conf_(machine), server_(conf_.server),
          everybody_(machine.people(), false), guest_(smb::guest()) {
        for (const IntendedShare& share : conf_.meant)
            folders_.push_back(plain_path(share.folder));
    }

    Differences differences() {
        if (!server_.starts) {
            for (const Remark& remark : server_.remarks)
                add_stop(remark);
            return differences_;
        }
        for (const Written& written : conf_.shares)
            check(written);
        check_strays();
        check_listing();
        check_global();
        return differences_;
    }

  private:
    void add(Effect effect, const IntendedShare& share, const std::string& what,
             const Cause& rule = {}) {
        differences_.push_back(
            {Service::smb, effect, share.file, share.line, share.name, what, rule});
    }

    void add_stop(const Remark& remark) {
        const Written* written = conf_.at(remark.line);
        differences_.push_back({Service::smb,
                                Effect::stops,
                                written ? written->share.file : "",
                                written ? written->share.line : 0,
                                written ? written->share.name : "",
                                "Samba does not start",
                                {remark.text, "rename it"}});
    }

    // --- A share.

    std::optional<Difference> difference(const Written& written) const {
        std::vector<Right> given;
        bool elsewhere = false;
        const auto right_by = [&](const smb::Access& access, Right meant) {
            const bool same = access.share == nullptr || access.folder == written.folder;
            elsewhere = elsewhere || !same;
            if (written.is_own())
                return same ? std::min(access.right, meant) : Right::none;
            if (same || (access.right > meant && is_there(access.folder)))
                return access.right;
            return Right::none;  // of the folder that is meant
        };
        for (const smb::Access& access : smb::access_by(server_, written.name, everybody_))
            given.push_back(right_by(access, written.share.people[given.size()]));
        const Right guest =
            right_by(smb::access_by(server_, written.name, guest_)[0], written.share.guest);
        auto found = compare(machine_, written.share, Service::smb, given, guest);
        if (const auto* section = smb::section_of(server_, written);
            found && section != nullptr && section->share && written.share.file == msdfs_file &&
            server_.shares[*section->share].path.empty() &&
            server_.shares[*section->share].msdfs_proxy.empty())
            found->rule = {"the root of DFS has neither a folder nor a target",
                           "give it a folder of its own"};
        std::string others = others_by(written, elsewhere);
        const bool exposes = !others.empty();
        if (others.empty() && leads_elsewhere(written.share))
            others = "it is the folder " + written.folder;
        if (others.empty())
            return found;
        if (!found)
            found = Difference{Service::smb,       Effect::breaks,     written.share.file,
                               written.share.line, written.share.name, ""};
        if (exposes)
            found->effect = Effect::exposes;
        found->what += (found->what.empty() ? "" : ", ") + others;
        return found;
    }

    // True for the folder of a share, too, whose disk may be away.
    bool is_there(const std::string& folder) const {
        return machine_.is_directory(folder) ||
               std::find(folders_.begin(), folders_.end(), folder) != folders_.end();
    }

    // What a share gives of the folders of others, to people who are to have less of them.
    std::string others_by(const Written& written, bool elsewhere) const {
        if (!elsewhere && written.share.file != msdfs_file && !leads_elsewhere(written.share))
            return "";
        const auto& people = machine_.people();
        auto given = smb::access_by(server_, written.name, everybody_);
        given.push_back(smb::access_by(server_, written.name, guest_)[0]);
        std::string words;
        for (size_t at = 0; at < conf_.meant.size(); ++at) {
            const IntendedShare& other = conf_.meant[at];
            if ((other.file == written.share.file && other.line == written.share.line) ||
                leads_elsewhere(other))
                continue;
            const auto gains = [&](size_t number) {
                const smb::Access& access = given[number];
                const Right meant = number < people.size() ? other.people[number] : other.guest;
                return access.right > meant && !access.folder.empty() &&
                       (is_inside(folders_[at], access.folder) ||
                        (!written.is_own() && is_inside(access.folder, folders_[at])));
            };
            std::vector<size_t> gainers;
            for (size_t number = 0; number < people.size(); ++number)
                if (gains(number))
                    gainers.push_back(number);
            if (const bool guest = gains(people.size()); guest || !gainers.empty())
                words += (words.empty() ? "" : ", ") +
                         (guest ? "anyone without an account" : in_words(machine_, gainers)) +
                         " gets into " + other.name;
        }
        return words;
    }

    void check(const Written& written) {
        const IntendedShare& share = written.share;
        const auto found = difference(written);
        const auto access = smb::access_by(server_, written.name, guest_)[0];
        const auto shown_name = [&] { return smb::fold(smb::name_of(*access.share)); };
        if (found)
            differences_.push_back(*found);
        else if (smb::fold(written.name) == "homes" && share.guest != Right::none)
            add(Effect::breaks, share, "without an account nobody reaches it");
        else if (smb::fold(written.name) == "homes")
            add(Effect::looks, share, "it is everyone's own share, too");
        else if (access.share != nullptr && shown_name() != smb::fold(written.name))
            add(Effect::breaks, share, "clients see another name, which leads nowhere");
        if (access.share == nullptr || found)
            return;
        const std::string shown = smb::comment_of(*access.share);
        if (shown != share.comment + (share.read_only ? "(Read Only)" : "") && smb::is_utf8(shown))
            add(Effect::looks, share, "clients read " + quoted(as_utf8(shown)));
    }

    // Shares that stand for no record, such as that of a line without a volume.
    void check_strays() {
        std::set<int> known;
        for (const Written& written : conf_.shares)
            known.insert(written.line);
        for (const smb::Section& section : server_.sections) {
            if (!section.share || known.contains(section.line))
                continue;
            const smb::Share& share = server_.shares[*section.share];
            const std::string folder = smb::folder_of(share);
            if (share.line != section.line || !share.available || !folder.starts_with("/mnt") ||
                plain_path(folder) == "/mnt/authtest")
                continue;
            const bool there = is_there(plain_path(folder));
            differences_.push_back({Service::smb, there ? Effect::exposes : Effect::breaks, "", 0,
                                    quoted(share.name),
                                    there ? "clients get into " + plain_path(folder)
                                          : "clients see a share that has no folder"});
        }
    }

    // One name or comment that no client can decode, and the list of shares stays empty. The lists
    // of a share that Samba takes for its own part of the file hold for that part.
    void check_listing() {
        const std::string all = "no client can list the shares";
        for (const smb::Share& share : server_.shares) {
            const Written* written = conf_.at(share.line);
            if (share.available && written != nullptr &&
                (!smb::is_utf8(smb::name_of(share)) || !smb::is_utf8(smb::comment_of(share))))
                add(Effect::breaks, written->share, all);
        }
        const auto comment = server_.globals.find("serverstring");
        if (comment != server_.globals.end() && !smb::is_utf8(smb::expand(comment->second)))
            add_global(Effect::breaks, "string", "the server's description", all);
        if (!server_.ipc.valid_users)
            return;
        std::vector<size_t> listing;
        const auto rights = smb::may_list(server_, everybody_);
        for (size_t person = 0; person < rights.size(); ++person)
            if (rights[person] != Right::none)
                listing.push_back(person);
        for (const Written& written : conf_.shares) {
            const auto* section = smb::section_of(server_, written);
            if (section != nullptr && (!section->share || smb::fold(written.name) == "ipc$"))
                add(Effect::breaks, written.share,
                    listing.empty()
                        ? all
                        : "only " + in_words(machine_, listing) + " can list the shares");
        }
    }

    void add_global(Effect effect, const char* key, const std::string& who,
                    const std::string& what) {
        differences_.push_back(
            {Service::smb, effect, info_file, setting(machine_, info_file, key).line, who, what});
    }

    // The values of [global] that the settings choose.
    void check_global() {
        const bool in_domain = server_.security != "user" && server_.security != "share";
        const struct {
            const char* key;
            size_t limit;
            const char* name;
            const char* who;
            bool is_text;
        } rows[] = {
            {"string", sizeof SYS_INFO::string - 1, "serverstring", "the server's description",
             true},
            {"wg", sizeof SYS_INFO::wg - 1, "workgroup", "the workgroup", false},
            {"ad_dns", sizeof SYS_INFO::ad_dns - 1, "realm", "the realm", false},
        };
        for (const auto& row : rows) {
            const Setting set = setting(machine_, info_file, row.key);
            const auto read = server_.globals.find(row.name);
            if (set.line == 0 || read == server_.globals.end())
                continue;
            const std::string shown =
                row.is_text ? smb::unquoted(smb::expand(read->second)) : read->second;
            if (shown != set.value.substr(0, row.limit) && smb::is_utf8(shown))
                add_global(in_domain && !row.is_text ? Effect::breaks : Effect::looks, row.key,
                           row.who, "it is " + quoted(shown));
        }
        const bool shows_info = setting(machine_, info_file, "info_visible").line == 0 &&
                                smb::access_by(server_, "info", guest_)[0].share != nullptr;
        if (shows_info)
            differences_.push_back({Service::smb, Effect::exposes, info_file, 0, "info",
                                    "everyone may read /mnt/info, also without an account"});
    }

    const Machine& machine_;
    const smb::WrittenConf conf_;
    const smb::Server& server_;
    const smb::Visitors everybody_, guest_;
    std::vector<std::string> folders_;  // of conf_.meant
    Differences differences_;
};

}  // namespace

Differences judge_smb(const Machine& machine) {
    return machine.file(conf_file) ? Judge(machine).differences() : Differences();
}

}  // namespace tavrogen::access
