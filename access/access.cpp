// tavrogen-access: shows who may do what by which service, read back from the services' files.
#include "access/model.h"

int main() {
    return 2;
}
