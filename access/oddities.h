// What is odd about a value, for whatever service, and the value without it.
#pragma once

#include "access/machine/settings.h"

namespace tavrogen::access {

struct Oddity {
    std::string text, cure;
    std::string value;  // without the oddity
    bool keeps_meaning = false;
};

class Oddities {
  public:
    Oddities(const Settings& settings, const Machine& machine);

    // All oddities of a value of this unit, those that tell most first.
    std::vector<Oddity> of(const Unit& unit, const std::string& value) const;

    // A value without any of them.
    std::string sound(const Unit& unit, const std::string& value) const;

    // A value that is like no other; empty where none can be made up.
    std::string fresh(const Unit& unit) const;

  private:
    using Found = std::vector<Oddity>;

    void look_at_name(const Unit& unit, const std::string& value, Found* found) const;
    void look_at_lists(const Unit& unit, const std::string& value, Found* found) const;
    void look_at_members(const Unit& unit, const std::string& value, Found* found) const;
    void look_at_keyed(const Unit& unit, const std::string& value, Found* found) const;
    const IntendedShare* share_of(const Unit& unit) const;
    std::string stand_in(const Unit& unit) const;

    const Settings settings_;
    const Machine machine_;
    const Accounts accounts_;
    bool in_domain_;
    std::map<Place, IntendedShare> shares_;
    std::map<std::string, std::vector<Place>> places_;         // by the shares' folded names
    std::map<std::string, std::vector<std::string>> members_;  // of groups
    std::map<std::string, std::set<std::string>>
        missing_;  // whose primary group does not list them
};

}  // namespace tavrogen::access
