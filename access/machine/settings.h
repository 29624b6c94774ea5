// The settings of an appliance as units that can be changed one by one, in memory.
#pragma once

#include "access/machine/meaning.h"

namespace tavrogen::access {

constexpr char info_file[] = "/etc/korvel/info";
constexpr char msdfs_file[] = "/etc/korvel/msdfs";
constexpr char disk_file[] = "/etc/korvel/diskinfo";
constexpr char offline_file[] = "/etc/korvel/offlinefile";
constexpr char group_file[] = "/etc/group";

constexpr int whole_line = -1;

// One field of one record, or one keyed setting.
struct Unit {
    std::string file;
    int line = 0;     // from 1; 0: the file has no such key
    int field = 0;    // of a record
    std::string key;  // of a keyed file

    auto operator<=>(const Unit&) const = default;
};

// A line of a settings file.
using Place = std::pair<std::string, int>;

class Settings {
  public:
    explicit Settings(const Machine& machine);

    // All that can be changed, in the order of the files and their lines.
    std::vector<Unit> units() const;

    std::string get(const Unit& unit) const;

    // A share that gets another name or volume takes its folder and its side records along.
    void set(const Unit& unit, const std::string& value);

    // Takes the records of all other internal shares away, with their folders.
    void keep_only(const std::set<Place>& records);

    // The appliance with these settings.
    Machine machine() const;

    // Where a line of the machine's file stands in the appliance's own.
    int own_line(const std::string& file, int line) const;

    // The shares' records.
    std::vector<Place> shares() const;

  private:
    struct Line {
        int number;
        std::string text;
    };

    const Line* line_of(const Unit& unit) const;
    std::string folder_of(const Unit& unit) const;
    void rename_beside(const std::string& name, const std::string& other);

    Machine machine_;
    std::map<std::string, std::vector<Line>> files_;
};

// The accounts and groups of the appliance itself.
struct Accounts {
    explicit Accounts(const Machine& machine);

    std::set<std::string> users, groups;
    bool complete = false;  // there are no others, as in a domain

    // True for a name of one of the lists that stands for nobody.
    bool lacks(const std::string& name, size_t list) const;
};

}  // namespace tavrogen::access
