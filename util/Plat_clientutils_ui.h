#pragma once
// Numbers of TClientUtils::MsgBox (util/Plat_clientutils.h): the flags that
// choose its buttons and kind, and the results that say which button closed
// it. The values are the platform's (MB_..., ID...), so that flags and
// results kept in host code and settings keep their meaning.

namespace lnq {

// Buttons: the low four bits of the flags.
namespace mb {
inline constexpr int Ok = 0x00;
inline constexpr int OkCancel = 0x01;
inline constexpr int AbortRetryIgnore = 0x02;
inline constexpr int YesNoCancel = 0x03;
inline constexpr int YesNo = 0x04;
inline constexpr int RetryCancel = 0x05;
// Kind: bits 4-7. 0x10, 0x20 and 0x30 all show the information kind, 0x40
// the confirmation kind (a question), 0x80 the custom kind (no icon), any
// other value (0 included) the warning kind. An error flag therefore shows
// as information; hosts rely on that.
inline constexpr int IconHand = 0x10;
inline constexpr int IconQuestion = 0x20;
inline constexpr int IconExclamation = 0x30;
inline constexpr int IconAsterisk = 0x40;
inline constexpr int UserIcon = 0x80;
} // namespace mb

// Results. A box closed without a button (Esc where no button takes it, the
// window's close box) gives Cancel.
namespace id {
inline constexpr int Ok = 1;
inline constexpr int Cancel = 2;
inline constexpr int Abort = 3;
inline constexpr int Retry = 4;
inline constexpr int Ignore = 5;
inline constexpr int Yes = 6;
inline constexpr int No = 7;
} // namespace id

} // namespace lnq
