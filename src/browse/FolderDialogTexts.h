#pragma once
// Thai for what Qt's own file dialog says, which comes with no translation of it.

#include <QTranslator>

namespace tavolin {

/// Once installed it serves dialogs that are made later.
class FolderDialogTexts : public QTranslator
{
    Q_OBJECT

public:
    using QTranslator::QTranslator;

    [[nodiscard]] QString translate(const char *context, const char *sourceText,
                                    const char *disambiguation, int n) const override;
    [[nodiscard]] bool isEmpty() const override { return false; }
};

} // namespace tavolin
