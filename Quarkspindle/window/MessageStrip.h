#pragma once

#include <QtWidgets/QFrame>

class QVBoxLayout;

namespace Quarkspindle
{

/// Messages at the top of a window, in plain words, which wait there until the user puts them away. The latest few; a
/// message that is shown already is not shown twice.
class MessageStrip final : public QWidget
{
    Q_OBJECT

public:
    enum class EKind
    {
        Notice,
        Error,
    };

    explicit MessageStrip(QWidget* parent = nullptr);

    void Show(EKind kind, const QString& text);
    void Clear();
    /// The texts that are shown, the oldest first.
    QStringList GetTexts() const;

private:
    QVBoxLayout* mLayout;
};

}
