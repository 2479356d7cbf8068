#include "Quarkspindle/window/ProgressPanel.h"

#include <QtWidgets/QLabel>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

#include "Quarkspindle/ProgressLine.h"
#include "Utility/Clock.h"

namespace Quarkspindle
{

namespace
{

constexpr int cShowIntervalMs = 100;
constexpr int cSteps = 1000;

QString DescribePhase(OpeningProgress::EPhase phase)
{
    switch (phase)
    {
    case OpeningProgress::EPhase::Reading:
        return ProgressPanel::tr("Reading the trace");
    case OpeningProgress::EPhase::Writing:
        return ProgressPanel::tr("Writing the capture");
    case OpeningProgress::EPhase::Rebuilding:
        return ProgressPanel::tr("Finding the events of the capture");
    case OpeningProgress::EPhase::Loading:
        break;
    }
    return ProgressPanel::tr("Opening the capture");
}

ProgressLine::EUnit GetUnit(OpeningProgress::EPhase phase)
{
    return phase == OpeningProgress::EPhase::Reading ? ProgressLine::EUnit::Bytes : ProgressLine::EUnit::Items;
}

}

ProgressPanel::ProgressPanel(const OpeningProgress& progress, const QString& path, QWidget* parent)
    : QWidget{parent},
      mProgress{progress},
      mPhaseStart{Utility::gGetTimeSeconds()},
      mWhat{new QLabel{this}},
      mBar{new QProgressBar{this}},
      mRate{new QLabel{this}}
{
    auto* name = new QLabel{path, this};
    name->setTextFormat(Qt::PlainText);
    name->setWordWrap(true);
    mBar->setAccessibleName(tr("Progress"));
    mBar->setMaximumWidth(fontMetrics().averageCharWidth() * 80);
    auto* cancel = new QPushButton{tr("Cancel"), this};
    cancel->setObjectName("cancelOpening");
    connect(cancel, &QPushButton::clicked, this, &ProgressPanel::Cancelled);

    auto* layout = new QVBoxLayout{this};
    const int margin = fontMetrics().height() * 3;
    layout->setContentsMargins(margin, margin, margin, margin);
    layout->addWidget(name);
    layout->addWidget(mWhat);
    layout->addWidget(mBar);
    layout->addWidget(mRate);
    layout->addWidget(cancel, 0, Qt::AlignLeft);
    layout->addStretch();

    connect(&mTimer, &QTimer::timeout, this, &ProgressPanel::Show);
    mTimer.start(cShowIntervalMs);
    Show();
}

void ProgressPanel::Show()
{
    const OpeningProgress::EPhase phase = mProgress.mPhase;
    const double now = Utility::gGetTimeSeconds();
    if (phase != mPhase)
    {
        mPhase = phase;
        mPhaseStart = now;
    }
    const uint64_t total = mProgress.mTotal;
    const uint64_t done = std::min<uint64_t>(mProgress.mDone, total);
    const bool isKnown = phase != OpeningProgress::EPhase::Loading && total > 0;
    mWhat->setText(DescribePhase(phase));
    mBar->setRange(0, isKnown ? cSteps : 0);
    if (!isKnown)
    {
        mRate->clear();
        return;
    }
    mBar->setValue(static_cast<int>(static_cast<double>(done) / static_cast<double>(total) * cSteps));
    // Thousandths have no rate that would tell anybody anything.
    const std::string rate = ProgressLine::sFormatRate(GetUnit(phase), done, total, now - mPhaseStart);
    const std::size_t start = phase == OpeningProgress::EPhase::Rebuilding ? rate.rfind(", ") : rate.find(", ");
    mRate->setText(start == std::string::npos ? QString{} : QString::fromStdString(rate.substr(start + 2)));
}

}
