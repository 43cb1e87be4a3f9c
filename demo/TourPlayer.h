#pragma once

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QString>

#include <functional>

class QWidget;

namespace demo {

/**
 * Plays a list of steps one after the other, each as soon as it can be played.
 *
 * A step may open a dialog that is executed: the next step is due inside its event loop.
 */
class TourPlayer : public QObject
{
    Q_OBJECT

public:
    using Condition = std::function<bool()>;
    using Action = std::function<void()>;
    using Finder = std::function<QWidget*()>;

    /** Pictures go to the folder @p pictures; empty: none are taken. @p prefix begins their names.
     */
    TourPlayer(QString pictures, QString prefix);
    ~TourPlayer() override;

    /** @p text is printed when the step is played, which is when @p isReady holds. */
    void add(const QString& text, const Condition& isReady, const Action& act);
    /** A picture of the window that @p find finds, once it is there. */
    void addPicture(const QString& name, const Finder& find);

    /** Ends the event loop with 0 after the last step, with 1 when a step does not come about in 20
     * s. */
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
