// Reads /etc/vantor_expansion_firmware: whether FTP may use TLS.
#include "conf/conf_file.h"
#include "conf/load_config.h"

int load_ssl_ftp() {
    int ssl_ftp = 0;
    LoadConfFileInt("/etc/vantor_expansion_firmware", "VANTOR_CONFIG_SSLFTP", &ssl_ftp);
    return ssl_ftp;
}
