#pragma once
// What the texts on screen call the key that undoes.

#ifdef Q_OS_MACOS
#define UNDO_KEY_TEXT "⌘Z"
#else
#define UNDO_KEY_TEXT "Ctrl+Z"
#endif
