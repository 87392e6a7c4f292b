#pragma once
// Vocabulary shared by the column model, the grids and the masked edit.

#include <cstdint>

namespace lnq {

// Input/display type of a column or edit. The thirteen dpDate* kinds are
// distinct date formats; grids treat them all as dates.
enum TLNQDataTypePro : std::uint8_t {
    dpString,
    dpDecimal,
    dpCode,
    dpOrderNo,
    dpDate1,
    dpDate2,
    dpDate3,
    dpDate4,
    dpDate5,
    dpDate6,
    dpDate7,
    dpDate8,
    dpDate9,
    dpDateA,
    dpDateB,
    dpDateC,
    dpDateD,
    dpComboCount,
    dpCurrency,
};

inline bool IsDateDataTypePro(TLNQDataTypePro p) {
    return p >= dpDate1 && p <= dpDateD;
}
// Numeric columns of the grids (number filtering and normalisation).
inline bool IsNumericDataTypePro(TLNQDataTypePro p) {
    return p == dpDecimal || p == dpCurrency || p == dpComboCount;
}

// Business meaning of a column (stored and copied only).
enum TLNQDataTypeApp : std::uint8_t {
    daNone,
    daDjh,
    daSgdh,
    daRq,
    daSpdm,
    daSpmc,
    daSpgg,
    daXhgg,
    daPh,
    daJldwdm,
    daJldwmc,
    daMjxs,
    daSl,
    daDj,
    daJe,
    daShlv,
    daZk,
    daSpldm,
    daSplmc,
    daBmdm,
    daBmmc,
    daZydm,
    daZyxm,
    daDwdm,
    daDwmc,
    daKhdm,
    daKhmc,
    daGysdm,
    daGysmc,
    daCjdm,
    daCjmc,
    daCkdm,
    daCkmc,
    daKwdm,
    daKwmc,
    daYtdm,
    daYtmc,
    daBizhdm,
    daBizhmc,
    daHl,
};

// Footer aggregate of a column.
enum TCalcMode : std::uint8_t { ccUser, ccSum, ccCount };

// Sort glyph drawn in a title cell.
enum TSortMark : std::uint8_t { smNone, smUp, smDown };

enum TSectionTrackState : std::uint8_t { tsTrackBegin, tsTrackMove, tsTrackEnd };

enum TGridColStyle : std::uint8_t { hsText, hsOwnerDraw };

} // namespace lnq
