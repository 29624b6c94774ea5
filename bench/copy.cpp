// The floor of a renderer: reads the inputs and writes as many bytes as the real outputs have.
//
// usage: floor INPUT... -- [OUTPUT BYTES]...
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static char buffer[65536];

int main(int, char** argv) {
    while (*++argv != nullptr && strcmp(*argv, "--") != 0) {
        const int in = open(*argv, O_RDONLY);
        while (read(in, buffer, sizeof buffer) > 0) {
        }
        close(in);
    }
    while (*argv != nullptr && *++argv != nullptr) {
        const int out = open(*argv, O_WRONLY | O_CREAT | O_TRUNC, 0666);
        size_t left = strtoul(*++argv, nullptr, 10);
        while (left > 0) {
            const ssize_t written = write(out, buffer, left < sizeof buffer ? left : sizeof buffer);
            if (written <= 0)
                return 1;
            left -= static_cast<size_t>(written);
        }
        close(out);
    }
    return 0;
}
