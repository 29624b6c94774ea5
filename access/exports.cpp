// Reads /etc/exports back as the NFS server does.
#include "access/model.h"

namespace rights {

Reading read_exports(const Machine&) {
    return {};
}

std::vector<Finding> check_nfs(const Machine&) {
    return {};
}

}  // namespace rights
