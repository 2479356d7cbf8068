#pragma once

#include <QtWidgets/QComboBox>

#include <string>

namespace Profiler
{

/// A combo box that says what it is for while nothing is picked.
class PlaceholderComboBox final : public QComboBox
{
    Q_OBJECT

public:
    using QComboBox::QComboBox;

    /// UTF-8; seen while there is no current item.
    void SetPlaceholderText(const std::string& text);
    const std::string& GetPlaceholderText() const { return mPlaceholderText; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::string mPlaceholderText;
};

}
