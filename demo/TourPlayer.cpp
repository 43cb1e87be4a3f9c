#include "demo/TourPlayer.h"

#include "demo/Console.h"

#include <QCoreApplication>
#include <QDir>
#include <QPixmap>
#include <QTimer>
#include <QWidget>

#include <utility>

namespace demo {

namespace {

constexpr int interval = 40;
constexpr int patience = 20000;

} // namespace

TourPlayer::TourPlayer(QString pictures, QString prefix)
    : m_pictures(std::move(pictures))
    , m_prefix(std::move(prefix))
{
}

TourPlayer::~TourPlayer() = default;

void TourPlayer::add(const QString& text, const Condition& isReady, const Action& act)
{
    m_steps.append({text, isReady, act});
}

void TourPlayer::addPicture(const QString& name, const Finder& find)
{
    add(
        QStringLiteral("picture: %1").arg(name), [find] { return find() != nullptr; },
        [this, name, find] { save(find(), name); });
}

void TourPlayer::start()
{
    schedule();
}

// A new timer each time: a timer does not fire in nested event loops of its own slot.
void TourPlayer::schedule()
{
    m_waiting.start();
    QTimer::singleShot(interval, this, &TourPlayer::playNext);
}

void TourPlayer::playNext()
{
    if (m_next == m_steps.size()) {
        print(QStringLiteral("tour: complete, %1 steps").arg(m_steps.size()));
        QCoreApplication::exit(0);
        return;
    }
    const Step step = m_steps.at(m_next);
    if (!step.isReady()) {
        if (m_waiting.elapsed() > patience) {
            fail(QStringLiteral("this step did not come about: %1").arg(step.text));
            return;
        }
        QTimer::singleShot(interval, this, &TourPlayer::playNext);
        return;
    }
    print(QStringLiteral("tour: %1").arg(step.text));
    ++m_next;
    schedule();
    step.act();
}

void TourPlayer::save(QWidget* window, const QString& name)
{
    if (m_pictures.isEmpty()) {
        return;
    }
    const QString file = QDir(m_pictures).filePath(QStringLiteral("%1-%2.png").arg(m_prefix, name));
    if (!QDir().mkpath(m_pictures) || !window->grab().save(file)) {
        fail(QStringLiteral("could not write %1").arg(file));
    }
}

void TourPlayer::fail(const QString& reason)
{
    printError(QStringLiteral("tour: %1").arg(reason));
    QCoreApplication::exit(1);
}

} // namespace demo
