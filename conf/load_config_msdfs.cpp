// Reads /etc/korvel/msdfs.
#include "base/c_string.h"
#include "base/messages.h"
#include "base/record_chain.h"
#include "conf/conf_file.h"
#include "conf/load_config.h"

#include <stdio.h>
#include <stdlib.h>

static constexpr int last_link = 99;

// Allocates a zeroed record between its two traces.
template <class Record>
static Record* allocate(const char* what) {
    trace(1, "load_msdfsinfo in load_config: allocate memory for MSDFS %s......", what);
    auto* record = static_cast<Record*>(calloc(1, sizeof(Record)));
    if (record == nullptr)
        complain("Can't allocate memory\n");
    else
        trace(1, "%p done.\n", static_cast<void*>(record));
    return record;
}

// Reads a switch and traces the outcome; a missing key is invalid, and so off.
static unsigned char load_switch(const SettingsFile& file, const char* key, const char* on,
                                 const char* off) {
    char value[256] = "";
    LoadConfFileString(file, key, value);
    const bool is_on = equal(value, "on");
    trace(1, "load_msdfsinfo in load_config: ");
    if (is_on || equal(value, "off"))
        trace(1, "%s.\n", is_on ? on : off);
    else
        trace(1, "%s value is invalid! %s..\n", key, off);
    return is_on;
}

static void load_link(const SettingsFile& file, MSDFS_LINK* link, int number, bool named) {
    link->enabled = named;
    trace(1, "load_msdfsinfo in load_config: MSDFS link no.%d is %s.\n", number,
          named ? "enable" : "disable");
    char key[64];
    snprintf(key, sizeof key, "msdfs_link%d_name", number);
    LoadConfFileString(file, key, link->name);
    snprintf(key, sizeof key, "msdfs_link%d_unc1", number);
    LoadConfFileString(file, key, link->unc1);
    trace(1, "load_msdfsinfo in load_config: MSDFS link data --- %s - %s.\n", link->name,
          link->unc1);
}

int load_msdfsinfo(MSDFS_INFO* msdfs) {
    *msdfs = {};
    msdfs->root = allocate<MSDFS_ROOT>("root");
    if (msdfs->root == nullptr)
        return -1;
    msdfs->links = allocate<MSDFS_LINK>("link");
    if (msdfs->links == nullptr)
        return -1;
    SettingsFile file("/etc/korvel/msdfs");
    file.load();
    msdfs->enabled = load_switch(file, "msdfs_function", "MSDFS is enable", "MSDFS is disable");
    msdfs->root_as_link =
        load_switch(file, "msdfs_root_as_link", "MSDFS root is same as MSDFS link",
                    "MSDFS root is different from MSDFS link");
    LoadConfFileString(file, "msdfs_root_name", msdfs->root->name);
    LoadConfFileString(file, "msdfs_root_path", msdfs->root->path);
    trace(1, "load_msdfsinfo in load_config: MSDFS root data --- %s - %s.\n", msdfs->root->name,
          msdfs->root->path);

    for (int number = 1; number <= last_link; ++number) {
        trace(1, "load_msdfsinfo in load_config: MSDFS link counfiguration no.%d.\n", number);
        char key[64];
        char name[256] = "";
        snprintf(key, sizeof key, "msdfs_link%d_name", number);
        if (LoadConfFileString(file, key, name) != 0) {
            trace(1, "load_msdfsinfo in load_config: no.%d(msdfs_link%d_name) is not found.\n",
                  number, number);
            return 0;
        }
        if (number > 1) {
            trace(1, "load_msdfsinfo in load_config: allocate memory for MSDFS link no.%d......",
                  number);
            MSDFS_LINK* link = grow(msdfs->links);
            if (link == nullptr)
                return -1;
            msdfs->links = link;
            trace(1, "%p done.\n", static_cast<void*>(link));
        }
        load_link(file, msdfs->links, number, is_set(name));
    }
    return 0;
}

void close_msdfsinfo(MSDFS_INFO* msdfs) {
    trace(1, "close_msdfsinfo in load_config: free memory for MSDFS root......%p done.\n",
          static_cast<void*>(msdfs->root));
    free(msdfs->root);
    if (msdfs->links != nullptr)
        msdfs->links = release_followers(msdfs->links, "close_msdfsinfo", "MSDFS link");
    trace(1, "close_msdfsinfo in load_config: free initial memory for MSDFS link......%p done.\n",
          static_cast<void*>(msdfs->links));
    free(msdfs->links);
    *msdfs = {};
    trace(1, "close_msdfsinfo in load_config: close msdfsinfo.\n");
}
