// People by the names that the lists of a service have for them.
#pragma once

#include "access/machine/machine.h"

#include <unordered_map>

namespace tavrogen::access {

class Crowd {
  public:
    // `spelt`: an account's name as the service compares it; NULL: as it is.
    using Spelt = std::string (*)(const std::string& name);
    explicit Crowd(const std::vector<Person>& people, Spelt spelt = nullptr)
        : people_(people), spelt_(spelt) {
        for (size_t number = 0; number < people.size(); ++number) {
            accounts_[spelling_of(people[number].name)].push_back(number);
            for (const std::string& group : people[number].groups)
                groups_[group].push_back(number);
        }
    }

    const std::vector<Person>& people() const { return people_; }

    // The numbers of those whom a name means.
    const std::vector<size_t>& account(const std::string& name) const {
        return find(accounts_, spelling_of(name));
    }
    const std::vector<size_t>& group(const std::string& name) const { return find(groups_, name); }

  private:
    using Names = std::unordered_map<std::string, std::vector<size_t>>;

    std::string spelling_of(const std::string& name) const {
        return spelt_ != nullptr ? spelt_(name) : name;
    }

    static const std::vector<size_t>& find(const Names& names, const std::string& name) {
        static const std::vector<size_t> nobody;
        const auto at = names.find(name);
        return at == names.end() ? nobody : at->second;
    }

    std::vector<Person> people_;
    Spelt spelt_;
    Names accounts_, groups_;
};

}  // namespace tavrogen::access
