#pragma once
// What keys are called in texts.

#include <QtGlobal>

#include <QStringView>

namespace tavolin {

/// The key that undoes, as it is written on the system's keyboards.
#ifdef Q_OS_MACOS
inline constexpr QStringView UNDO_KEY = u"⌘Z";
#else
inline constexpr QStringView UNDO_KEY = u"Ctrl+Z";
#endif

} // namespace tavolin
