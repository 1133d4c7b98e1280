// The locale table: one row per language and territory, in a fixed order,
// with the EBCDIC code pages the runtime may choose for it (without and
// with the euro sign) and, as catalogue data only, the PC, Windows and ISO
// code pages of the same locale.  A key search stops at the first match,
// so the second JA_JP row is reached only through its code-page columns.

#include "chardata/codepages.h"

namespace {

#define LATIN1 "TQX-437", "TQX-850", "TQX-1252", "TQX-5348", "ISO8859-1", "ISO8859-15"
#define LATIN2 "TQX-852", "TQX-5346", "TQX-1250", "TQX-912", "ISO8859-2", ""
#define CYRILLIC "TQX-866", "TQX-855", "TQX-1251", "TQX-5347", "ISO8859-5", "TQX-878"
#define BALTIC "TQX-775", "TQX-921", "TQX-1257", "TQX-5353", "ISO8859-4", "ISO8859-13"
#define SB {0x20, 0x20}

}  // namespace

extern "C" {

const CodePageRow zvkCodePageTable[kCodePageRows] = {
    {"CA_ES", SB, "TQX-285", "TQX-1145", LATIN1},
    {"DA_DK", SB, "TQX-277", "TQX-1142", LATIN1},
    {"DE_DE", SB, "TQX-273", "TQX-1141", LATIN1},
    {"DE_CH", SB, "TQX-500", "TQX-1148", LATIN1},
    {"EN_AU", SB, "TQX-037", "TQX-1140", LATIN1},
    {"EN_BE", SB, "TQX-500", "TQX-1148", LATIN1},
    {"EN_GB", SB, "TQX-285", "TQX-1146", LATIN1},
    {"EN_JP", SB, "TQX-037", "TQX-1140", LATIN1},
    {"EN_US", SB, "TQX-037", "TQX-1140", LATIN1},
    {"EN_ZA", SB, "TQX-037", "TQX-1140", LATIN1},
    {"ES_ES", SB, "TQX-284", "TQX-1145", LATIN1},
    {"FI_FI", SB, "TQX-278", "TQX-1143", LATIN1},
    {"FR_BE", SB, "TQX-500", "TQX-1148", LATIN1},
    {"FR_CA", SB, "TQX-037", "TQX-1140", LATIN1},
    {"FR_CH", SB, "TQX-500", "TQX-1148", LATIN1},
    {"FR_FR", SB, "TQX-297", "TQX-1148", LATIN1},
    {"IS_IS", SB, "TQX-871", "TQX-1149", "TQX-861", "TQX-850", "TQX-1252", "TQX-5348", "ISO8859-1", "ISO8859-15"},
    {"IT_CH", SB, "TQX-500", "TQX-1148", LATIN1},
    {"IT_IT", SB, "TQX-280", "TQX-1144", LATIN1},
    {"NL_BE", SB, "TQX-500", "TQX-1148", LATIN1},
    {"NL_NL", SB, "TQX-037", "TQX-1140", LATIN1},
    {"NO_NO", SB, "TQX-277", "TQX-1142", LATIN1},
    {"PT_BR", SB, "TQX-037", "TQX-1140", LATIN1},
    {"PT_PT", SB, "TQX-037", "TQX-1140", LATIN1},
    {"SQ_AL", SB, "TQX-500", "TQX-1148", LATIN1},
    {"SV_SE", SB, "TQX-278", "TQX-1143", LATIN1},
    {"HR_HR", SB, "TQX-870", "TQX-1153", LATIN2},
    {"CS_CZ", SB, "TQX-870", "TQX-1153", LATIN2},
    {"HU_HU", SB, "TQX-870", "TQX-1153", LATIN2},
    {"PL_PL", SB, "TQX-870", "TQX-1153", LATIN2},
    {"RO_RO", SB, "TQX-870", "TQX-1153", LATIN2},
    {"SH_SP", SB, "TQX-870", "TQX-1153", LATIN2},
    {"SK_SK", SB, "TQX-870", "TQX-1153", LATIN2},
    {"SL_SI", SB, "TQX-870", "TQX-1153", LATIN2},
    {"BE_BY", SB, "TQX-1025", "TQX-1154", CYRILLIC},
    {"BG_BG", SB, "TQX-1025", "TQX-1154", CYRILLIC},
    {"MK_MK", SB, "TQX-1025", "TQX-1154", CYRILLIC},
    {"RU_RU", SB, "TQX-1025", "TQX-1154", CYRILLIC},
    {"UK_UA", SB, "TQX-1123", "TQX-1158", CYRILLIC},
    {"AR_AA", SB, "TQX-16804", "TQX-420", "TQX-864", "TQX-1046", "TQX-1256", "TQX-5352", "ISO8859-6", ""},
    {"EL_GR", SB, "TQX-875", "TQX-4971", "TQX-869", "TQX-737", "TQX-1253", "TQX-5349", "ISO8859-7", ""},
    {"IW_IL", SB, "TQX-12712", "TQX-424", "TQX-862", "TQX-856", "TQX-1255", "TQX-5351", "ISO8859-8", ""},
    {"ET_EE", SB, "", "TQX-1157", BALTIC},
    {"LV_LV", SB, "TQX-1112", "TQX-1156", BALTIC},
    {"LT_LT", SB, "TQX-1112", "TQX-1156", BALTIC},
    {"TR_TR", SB, "TQX-1026", "TQX-1155", "TQX-857", "TQX-920", "TQX-1254", "TQX-5350", "ISO8859-9", ""},
    {"ZH_CN", {0xA1, 0xA1}, "", "TQX-1388", "TQX-1386", "GBK", "TQX-1386", "GB18030", "GB18030", ""},
    {"ZH_TW", {0xA1, 0x40}, "TQX-1371", "TQX-937", "TQX-950", "Big5", "TQX-950", "TQX-1370", "TQX-eucTW", ""},
    {"JA_JP", {0x81, 0x40}, "TQX-939", "TQX-1399", "TQX-943", "TQX-932", "TQX-943", "TQX-1351", "TQX-eucJP", ""},
    {"JA_JP", {0x81, 0x40}, "TQX-930", "TQX-1390", "TQX-943", "TQX-932", "TQX-943", "TQX-1351", "TQX-eucJP", ""},
    {"KO_KR", {0xA1, 0xA1}, "TQX-933", "TQX-1364", "TQX-949", "TQX-1363", "TQX-1363", "TQX-949", "TQX-eucKR", ""},
    {"TH_TH", SB, "", "TQX-9030", "TQX-874", "TQX-9066", "TQX-874", "TQX-1161", "TIS-620", ""},
    {"VI_VT", SB, "TQX-1130", "TQX-1164", "TQX-1258", "TQX-1129", "TQX-1258", "TQX-5354", "TQX-1163", ""},
};

}  // extern "C"
