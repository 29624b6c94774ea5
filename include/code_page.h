// The client code pages, each with its names for the settings and for the services.
#pragma once

// One code page. Its row number is SYS_INFO codepage.
struct code_page {
    const char* setting;      // value of the key "codepage"
    const char* charset;      // for Samba and the FTP server
    const char* mac_charset;  // for the AppleTalk server
};

inline constexpr code_page code_pages[] = {
    {"CP932", "CP932", "MAC_JAPANESE"},  // also every unknown code page
    {"CP437", "CP437", "MAC_ROMAN"},
    {"CP936", "CP936", "MAC_CHINESE_SIMP"},
    {"CP949", "CP949", "MAC_KOREAN"},
    {"CP950", "CP950", "MAC_CHINESE_TRAD"},
    // Kept: CP775, CP852, CP857 and CP1252 get MAC_JAPANESE, where one expects their own script.
    {"CP775", "CP775", "MAC_JAPANESE"},
    {"CP850", "CP850", "MAC_ROMAN"},
    {"CP852", "CP852", "MAC_JAPANESE"},
    {"CP857", "CP857", "MAC_JAPANESE"},
    // Kept: CP860 gets the charset CP1251, where one expects CP860.
    {"CP860", "CP1251", "MAC_ROMAN"},
    {"CP1250", "CP1250", "MAC_CENTRALEUROPE"},
    {"CP1251", "CP1251", "MAC_CYRILLIC"},
    {"CP1252", "CP1252", "MAC_JAPANESE"},
    {"CP1253", "CP1253", "MAC_ROMAN"},
    {"CP1254", "CP1254", "MAC_TURKISH"},
    {"CP1255", "CP1255", "MAC_HEBREW"},
    {"CP1256", "CP1256", "MAC_ROMAN"},
    {"CP1257", "CP1257", "MAC_CENTRALEUROPE"},
    {"ISO8859_1", "ISO8859-1", "MAC_ROMAN"},
    {"ISO8859_2", "ISO8859-2", "MAC_CENTRALEUROPE"},
    {"ISO8859_9", "ISO8859-9", "MAC_TURKISH"},
    {"ISO8859_13", "ISO8859-13", "MAC_CENTRALEUROPE"},
    {"ISO8859_15", "ISO8859-15", "MAC_ROMAN"},
};

inline constexpr int code_page_count = sizeof code_pages / sizeof *code_pages;

// The row of that number; row 0 for a number outside the table.
constexpr const code_page& code_page_of(int number) {
    return code_pages[number > 0 && number < code_page_count ? number : 0];
}
