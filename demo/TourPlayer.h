#pragma once

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QString>

#include <functional>

class QWidget;

namespace demo {

/**
 * Plays a list of steps in order, each as soon as its condition holds.
 *
 * A step may execute a dialog: the next step then runs in its event loop.
 */
class TourPlayer : public QObject
{
    Q_OBJECT

public:
    using Condition = std::function<bool()>;
    using Action = std::function<void()>;
    using Finder = std::function<QWidget*()>;

    /**
     * Saves pictures in the folder @p pictures (empty: none), with names that begin with @p prefix.
     */
    TourPlayer(QString pictures, QString prefix);
    ~TourPlayer() override;

    /** Adds a step, played once @p isReady holds; @p text is printed then. */
    void add(const QString& text, const Condition& isReady, const Action& act);
    /** Adds a picture of the window that @p find returns, taken once it exists. */
    void addPicture(const QString& name, const Finder& find);

    /**
     * Ends the event loop with 0 after the last step, with 1 if a step is not ready within 20 s.
     */
    void start();

private:
    struct Step
    {
        QString text;
        Condition isReady;
        Action act;
    };

    const QString m_pictures;
    const QString m_prefix;
    QList<Step> m_steps;
    int m_next = 0;
    QElapsedTimer m_waiting;

    void playNext();
    void schedule();
    void save(QWidget* window, const QString& name);
    static void fail(const QString& reason);
};

} // namespace demo
