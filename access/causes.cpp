// Changes settings in memory until what a service reads is what they mean, and gives back all
// changes that are not needed for it. The rest are the causes.
#include "access/causes.h"

#include "access/machine/text.h"
#include "access/oddities.h"

#include <algorithm>
#include <tuple>

namespace tavrogen::access {

namespace {

// Which record a difference is about, whatever happens to it; and whether the service stops there,
// behind which there may be more.
using Key = std::tuple<std::string, int, std::string, bool>;

Key key_of(const Difference& difference) {
    return {difference.file, difference.line, difference.file.empty() ? difference.subject : "",
            difference.effect == Effect::stops};
}

bool is_hit(const Unit& unit, const std::set<Key>& keys) {
    return keys.contains({unit.file, unit.line, "", false}) ||
           keys.contains({unit.file, unit.line, "", true});
}

std::set<Key> keys_of(const Differences& differences) {
    std::set<Key> keys;
    for (const Difference& difference : differences)
        keys.insert(key_of(difference));
    return keys;
}

Place place_of(const Unit& unit) {
    return {unit.file, unit.line};
}

// A change of one unit. Those of a later kind are given back only when those before are.
struct Change {
    enum Kind { odd_but_plain, odd, fresh_setting, fresh_name, fresh_list, fresh_other } kind;
    Unit unit;
    std::string value;
};

struct Found {
    Unit unit;
    Oddity oddity;  // without a text: none that is known
    Differences effects;
};

// What is common to the searches of all services.
struct Case {
    explicit Case(const Machine& machine)
        : settings(machine), oddities(settings, settings.machine()) {
        for (const Unit& unit : settings.units()) {
            const std::string value = settings.get(unit);
            const auto odd = oddities.of(unit, value);
            if (odd.empty())
                continue;
            const bool plain =
                unit.field == whole_line || (odd.size() == 1 && odd[0].keeps_meaning);
            std::string sound = oddities.sound(unit, value);
            // Two plain names may be one.
            const bool is_name = unit.key.empty() && unit.field == 0;
            if (is_name && !names.insert(sound).second)
                sound = oddities.fresh(unit);
            changes.push_back({plain ? Change::odd_but_plain : Change::odd, unit, sound});
            odd_places.insert(place_of(unit));
        }
    }

    Settings settings;
    Oddities oddities;
    std::vector<Change> changes;  // that take all oddities out
    std::set<Place> odd_places;
    std::set<std::string> names;
};

// The search for the causes of what one service does.
class Search {
  public:
    Search(const Case& all, Service service)
        : all_(all), service_(service), settings_(all.settings) {}

    std::vector<Found> run() {
        seen_ = differences({});
        if (seen_.empty())
            return {};
        leave_out_sound_shares();
        watched_ = keys_of(seen_);
        collect_changes();
        give_back_changes();
        return causes();
    }

    // What nothing heals.
    Differences unhealed() const {
        Differences rest;
        for (const Difference& difference : seen_)
            if (unhealed_.contains(key_of(difference)))
                rest.push_back(difference);
        return rest;
    }

  private:
    Differences differences(const std::vector<Change>& changes) const {
        Settings settings = settings_;
        for (const Change& change : changes)
            settings.set(change.unit, change.value);
        Differences found = judge(service_, settings.machine().after_run_for(service_));
        for (Difference& difference : found)
            difference.line = settings.own_line(difference.file, difference.line);
        return found;
    }

    // The watched differences that are left after some changes.
    std::set<Key> left_after(const std::vector<Change>& changes) const {
        std::set<Key> left = keys_of(differences(changes));
        std::erase_if(left, [&](const Key& key) { return !watched_.contains(key); });
        return left;
    }

    // In a large appliance only the odd shares take part, those that are hit and some others.
    void leave_out_sound_shares() {
        constexpr size_t others = 20;
        const auto shares = all_.settings.shares();
        std::set<Place> kept = all_.odd_places;
        for (const Difference& difference : seen_)
            kept.emplace(difference.file, difference.line);
        for (size_t at = 0; at < shares.size() && at < others; ++at)
            kept.insert(shares[at]);
        if (kept.size() + others >= shares.size())
            return;
        settings_.keep_only(kept);
        const auto before = keys_of(seen_), now = keys_of(differences({}));
        if (!std::includes(now.begin(), now.end(), before.begin(), before.end()))
            settings_ = all_.settings;
    }

    void collect_changes() {
        changes_ = all_.changes;
        std::set<Key> left = left_after(changes_);
        for (const auto kind :
             {Change::fresh_setting, Change::fresh_name, Change::fresh_list, Change::fresh_other}) {
            if (left.empty())
                break;
            std::vector<Change> more = changes_;
            for (const Change& change : fresh_changes(kind, left))
                more.push_back(change);
            if (more.size() == changes_.size())
                continue;
            const std::set<Key> now = left_after(more);
            if (now.size() < left.size()) {
                changes_ = more;
                left = now;
            }
        }
        unhealed_ = left;
        for (const Key& key : left)
            watched_.erase(key);
    }

    std::vector<Change> fresh_changes(Change::Kind kind, const std::set<Key>& hit) const {
        std::vector<Change> fresh;
        for (const Unit& unit : settings_.units()) {
            const bool keyed = !unit.key.empty();
            const bool is_share = unit.file == share_file || unit.file == usb_share_file;
            if ((!keyed && !is_share) || unit.field == whole_line)
                continue;
            const bool hit_here = is_hit(unit, hit);
            const auto own = keyed                          ? Change::fresh_setting
                             : !hit_here || unit.field == 2 ? Change::fresh_other
                             : unit.field < 2               ? Change::fresh_name
                                                            : Change::fresh_list;
            if (const std::string value = all_.oddities.fresh(unit);
                own == kind && !value.empty() && value != settings_.get(unit) &&
                (hit_here || unit.field < 2))
                fresh.push_back({kind, unit, value});
        }
        return fresh;
    }

    // --- Giving back.

    void give_back_changes() {
        std::stable_sort(
            changes_.begin(), changes_.end(),
            [](const Change& left, const Change& right) { return left.kind < right.kind; });
        for (int kind = Change::fresh_other; kind >= Change::odd_but_plain; --kind) {
            std::vector<Change> group;
            for (const Change& change : changes_)
                if (change.kind == kind)
                    group.push_back(change);
            // A name counts more than the volume beside it.
            std::stable_partition(group.begin(), group.end(), [](const Change& change) {
                return change.unit.key.empty() && change.unit.field == 1;
            });
            if (group.size() > 48)
                give_back_layers(&group);
            give_back(group);
        }
    }

    std::vector<Change> without(const std::vector<Change>& group) const {
        std::vector<Change> rest;
        for (const Change& change : changes_)
            if (std::none_of(group.begin(), group.end(), [&](const Change& other) {
                    return other.unit == change.unit && other.kind == change.kind;
                }))
                rest.push_back(change);
        return rest;
    }

    // Gives back what can be given back of a group, by halves.
    void give_back(const std::vector<Change>& group) {
        if (group.empty())
            return;
        std::vector<Change> rest = without(group);
        if (left_after(rest).empty()) {
            changes_ = std::move(rest);
            return;
        }
        if (group.size() == 1)
            return;
        const auto middle = group.begin() + static_cast<std::ptrdiff_t>(group.size() / 2);
        give_back({group.begin(), middle});
        give_back({middle, group.end()});
    }

    // Gives back what can be given back of a large group, in layers with one change of each record:
    // a record that is hit then needs it. What is left in the group has to be tried by halves.
    void give_back_layers(std::vector<Change>* group) {
        std::vector<Change> undecided;
        while (!group->empty()) {
            std::set<Place> places;
            std::vector<Change> layer, later;
            for (const Change& change : *group)
                (places.insert(place_of(change.unit)).second ? layer : later).push_back(change);
            *group = later;
            const std::set<Key> hit = left_after(without(layer));
            std::vector<Change> needed, spare;
            for (const Change& change : layer)
                (is_hit(change.unit, hit) ? needed : spare).push_back(change);
            const std::vector<Change> rest = without(spare);
            if (!left_after(rest).empty())
                undecided.insert(undecided.end(), layer.begin(), layer.end());
            else
                changes_ = rest;
        }
        *group = undecided;
    }

    // --- The causes, once only what is needed is left.

    std::vector<Found> causes() {
        std::vector<Found> found;
        for (const Change& change : changes_)
            if (std::none_of(found.begin(), found.end(),
                             [&](const Found& other) { return other.unit == change.unit; }))
                found.push_back({change.unit, {}, {}});
        find_effects(&found);
        find_oddities(&found);
        return found;
    }

    std::vector<Change> changes_without(const Unit& unit) const {
        std::vector<Change> rest = changes_;
        std::erase_if(rest, [&](const Change& change) { return change.unit == unit; });
        return rest;
    }

    // A share that another change has renamed gets its name back.
    Difference named(Difference difference) const {
        for (const Difference& seen : seen_)
            if (key_of(seen) == key_of(difference))
                difference.subject = seen.subject;
        return difference;
    }

    // What each cause does when all others are healed.
    void find_effects(std::vector<Found>* found) const {
        std::map<Place, int> causes_at;
        for (const Found& cause : *found)
            ++causes_at[place_of(cause.unit)];
        const bool each_its_own =
            found->size() > 24 &&
            std::all_of(seen_.begin(), seen_.end(), [&](const Difference& difference) {
                return causes_at[{difference.file, difference.line}] == 1 ||
                       unhealed_.contains(key_of(difference));
            });
        std::map<Key, Effect> told;
        for (Found& cause : *found) {
            for (const Difference& difference :
                 each_its_own ? seen_ : differences(changes_without(cause.unit)))
                if (watched_.contains(key_of(difference)) &&
                    (!each_its_own ||
                     place_of(cause.unit) == Place(difference.file, difference.line)))
                    cause.effects.push_back(named(difference));
            for (const Difference& effect : cause.effects) {
                const auto [at, is_new] = told.insert({key_of(effect), effect.effect});
                at->second = std::min(at->second, effect.effect);
            }
        }
        // Two causes together may do more than each alone.
        for (const Difference& difference : seen_) {
            const auto at = told.find(key_of(difference));
            if (at == told.end() || at->second <= difference.effect)
                continue;
            for (auto cause = found->rbegin(); cause != found->rend(); ++cause)
                if (keys_of(cause->effects).contains(at->first)) {
                    std::erase_if(cause->effects, [&](const Difference& effect) {
                        return key_of(effect) == at->first;
                    });
                    cause->effects.push_back(difference);
                    break;
                }
            at->second = difference.effect;
        }
    }

    bool is_fresh(const Unit& unit) const {
        return std::any_of(changes_.begin(), changes_.end(), [&](const Change& change) {
            return change.unit == unit && change.kind > Change::odd;
        });
    }

    // Takes for each cause the first oddity whose cure alone heals. They are tried in rounds, each
    // with one oddity of every cause that is left: a record that is then hit needs another one.
    void find_oddities(std::vector<Found>* found) {
        std::map<Unit, std::vector<Oddity>> odd;
        std::vector<Found*> left;
        for (Found& cause : *found) {
            odd[cause.unit] = all_.oddities.of(cause.unit, settings_.get(cause.unit));
            if (odd[cause.unit].size() == 1 && !is_fresh(cause.unit))
                cause.oddity = odd[cause.unit][0];
            else
                left.push_back(&cause);
        }
        constexpr size_t few = 8;  // that are tried one by one
        for (size_t round = 0; left.size() > few; ++round) {
            std::vector<Change> changes = changes_;
            std::set<Key> tried;
            for (const Found* cause : left)
                if (round < odd[cause->unit].size()) {
                    std::erase_if(changes,
                                  [&](const Change& change) { return change.unit == cause->unit; });
                    changes.push_back({Change::odd, cause->unit, odd[cause->unit][round].value});
                    for (const bool stops : {false, true})
                        tried.insert({cause->unit.file, cause->unit.line, "", stops});
                }
            const std::set<Key> hit = left_after(changes);
            if (tried.empty() || !std::includes(tried.begin(), tried.end(), hit.begin(), hit.end()))
                break;
            std::erase_if(left, [&](Found* cause) {
                const auto& some = odd[cause->unit];
                if (round >= some.size() || is_hit(cause->unit, hit))
                    return false;
                cause->oddity = some[round];
                return true;
            });
        }
        for (Found* cause : left)
            cause->oddity = oddity_of(*cause, odd[cause->unit]);
    }

    // The oddity whose cure alone heals; else all of them.
    Oddity oddity_of(const Found& cause, const std::vector<Oddity>& odd) const {
        for (const Oddity& oddity : odd) {
            std::vector<Change> changes = changes_without(cause.unit);
            changes.push_back({Change::odd, cause.unit, oddity.value});
            if (left_after(changes).empty())
                return oddity;
        }
        if (is_fresh(cause.unit) || odd.empty())
            return otherwise(cause);
        Oddity whole = odd[0];
        for (size_t at = 1; at < odd.size(); ++at) {
            whole.text += "; " + odd[at].text;
            whole.cure += "; " + odd[at].cure;
        }
        whole.value = all_.oddities.sound(cause.unit, settings_.get(cause.unit));
        return whole;
    }

    // For what is not known as odd.
    Oddity otherwise(const Found& cause) const {
        static constexpr const char* fields[] = {"name",
                                                 "volume",
                                                 "comment",
                                                 "list of the users who may write",
                                                 "list of the groups who may write",
                                                 "list of the users who may only read",
                                                 "list of the groups who may only read"};
        const std::string value = quoted(settings_.get(cause.unit));
        const std::string what = cause.unit.key.empty() ? fields[cause.unit.field] : cause.unit.key;
        const std::string the_value = "the " + what + ' ' + value;
        std::string text = the_value + " is read otherwise";
        for (const Difference& effect : cause.effects)
            if (effect.rule.text.find("two <Directory>") != std::string::npos)
                text = "the appliance has rules of its own for that folder: " + effect.rule.text;
            else if (!effect.rule.text.empty())
                text = std::string(the_value).append(": ").append(effect.rule.text);
        const bool is_name = cause.unit.key.empty() && cause.unit.field < 2;
        const std::string fresh = all_.oddities.fresh(cause.unit);
        return {text, is_name ? "rename it" : "write another one, such as " + quoted(fresh), fresh};
    }

    const Case& all_;
    const Service service_;
    Settings settings_;
    Differences seen_;
    std::set<Key> watched_, unhealed_;
    std::vector<Change> changes_;
};

// Joins what one cause does to several services.
void add(std::vector<Finding>* findings, const Finding& finding) {
    for (Finding& other : *findings)
        if (other.file == finding.file && other.line == finding.line &&
            other.cause.text == finding.cause.text) {
            other.effects.insert(other.effects.end(), finding.effects.begin(),
                                 finding.effects.end());
            return;
        }
    findings->push_back(finding);
}

}  // namespace

Effect Finding::effect() const {
    Effect worst = Effect::looks;
    for (const Difference& difference : effects)
        worst = std::min(worst, difference.effect);
    return worst;
}

std::vector<Finding> find_causes(const Machine& machine) {
    const Case all(machine);
    std::vector<Finding> findings;
    std::set<Unit> told;
    for (int number = 0; number <= static_cast<int>(Service::settings); ++number) {
        Search search(all, static_cast<Service>(number));
        for (const Found& found : search.run()) {
            const bool is_told = !told.insert(found.unit).second;
            if (found.effects.empty() || (is_told && found.unit.field != whole_line &&
                                          number == static_cast<int>(Service::settings)))
                continue;
            const Cause cause = {found.oddity.text, found.oddity.cure};
            if (found.unit.file != group_file && found.unit.file != disk_file) {
                add(&findings, {found.unit.file, found.unit.line, cause, found.effects});
                continue;
            }
            for (const Difference& effect : found.effects)  // told where the share is
                add(&findings, {effect.file, effect.line, cause, {effect}});
        }
        for (const Difference& difference : search.unhealed()) {
            Cause cause = difference.rule;
            if (cause.text.empty())
                cause = {"nothing in the settings heals it", ""};
            add(&findings, {difference.file.empty() ? share_file : difference.file,
                            difference.line,
                            cause,
                            {difference}});
        }
    }
    const auto badness = [](const Finding& finding) {
        return std::make_tuple(finding.effect(), finding.file, finding.line);
    };
    std::stable_sort(
        findings.begin(), findings.end(),
        [&](const Finding& left, const Finding& right) { return badness(left) < badness(right); });
    return findings;
}

}  // namespace tavrogen::access
