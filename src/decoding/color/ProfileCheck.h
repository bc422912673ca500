#pragma once
// Whether a colour profile from a file is one that LittleCMS may see. Usable from any thread.

#include <QByteArray>

namespace tavolin {

/// Whether the ICC profile @p icc (ICC.1:2022) is no larger and no more involved than those that
/// are in use: its tags lie inside of it, and so do the tables and curves of each, whose channels,
/// stages and entries are few. What it says is not looked at.
[[nodiscard]] bool isSoundProfile(const QByteArray &icc);

/// @p icc, or nothing where it is not sound: for pictures that are to keep their files' profiles.
[[nodiscard]] QByteArray soundProfile(QByteArray icc);

} // namespace tavolin
