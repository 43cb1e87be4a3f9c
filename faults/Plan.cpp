#include "Plan.h"

#include <QRandomGenerator>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <random>

namespace zk::faults {

namespace {

constexpr int millionths = 1'000'000;

/** A random generator with the same sequence on all platforms. */
class Dice
{
public:
    Dice(quint32 seed, int number)
        : m_generator(generator(seed, quint32(number)))
    {
    }

    /** A number from 0 to @p end - 1. */
    int below(int end) { return m_generator.bounded(end); }
    int between(int first, int last) { return first + below(last - first + 1); }
    bool oneIn(int n) { return below(n) == 0; }
    /** Small numbers are as likely as large ones. */
    int logarithmic(int last) { return int(std::pow(last + 1.0, below(1001) / 1000.0)) - 1; }

    template <typename T, std::size_t n>
    T of(const T (&list)[n])
    {
        return list[below(int(n))];
    }

private:
    QRandomGenerator m_generator;

    static QRandomGenerator generator(quint32 seed, quint32 number)
    {
        std::seed_seq words{seed, number};
        return QRandomGenerator(words);
    }
};

Fault drawFault(Dice& dice)
{
    static const int statuses[] = {201, 204, 206, 300, 301, 302, 304, 400, 401, 403,
                                   404, 407, 408, 410, 416, 429, 500, 502, 503, 504};
    static const int redirects[] = {301, 302, 303, 307, 308};
    Fault fault;
    fault.kind = Fault::Kind(dice.between(Fault::eDelay, Fault::eCompressedAndCut));
    fault.status = dice.of(redirects);
    switch (fault.kind) {
    case Fault::eDelay:
        fault.number = dice.logarithmic(100);
        break;
    case Fault::eDrip:
        fault.number = dice.between(1, 5000);
        break;
    case Fault::eWrongLength:
        fault.number = (dice.oneIn(2) ? 1 : -1) * (1 + dice.logarithmic(5000));
        break;
    case Fault::eStatus:
        fault.number = dice.of(statuses);
        break;
    case Fault::eRedirects:
    case Fault::eLoop:
        fault.number = 1 + dice.logarithmic(59);
        break;
    default:
        fault.number = dice.below(millionths);
        break;
    }
    return fault;
}

/** One that a later try gets over. */
Fault drawInterruption(Dice& dice)
{
    static const Fault::Kind kinds[] = {Fault::eCutAndClosed, Fault::eCutAndClosed,
                                        Fault::eCutAndReset,  Fault::eCutAndSilent,
                                        Fault::eStatus,       Fault::eHtml};
    Fault fault;
    fault.kind = dice.of(kinds);
    fault.number = fault.kind == Fault::eStatus ? 503 : dice.below(millionths);
    return fault;
}

Act drawAct(Dice& dice)
{
    Act act;
    act.kind = Act::Kind(dice.between(Act::eCancel, Act::eLinger));
    act.stage = Act::Stage(dice.between(Act::eCheck, Act::eWhole));
    act.events = act.stage == Act::eReceived
                     ? dice.below(6)
                     : dice.logarithmic(act.stage == Act::eWhole ? 60 : 250);
    // The client says that it must not be deleted from a slot of its own.
    act.isInSlot = dice.oneIn(3) && act.kind != Act::eDeleteClient;
    return act;
}

void drawForgery(Dice& dice, Plan& plan)
{
    if (plan.hasKeys && dice.oneIn(2)) {
        plan.forgery = Plan::Forgery(dice.between(Plan::eOtherKey, Plan::eDamaged));
        return;
    }
    plan.content = dice.oneIn(3) || !plan.isArchive
                       ? Plan::eChangedMeanwhile
                       : (dice.oneIn(2) ? Plan::eClimbingArchive : Plan::eDamagedArchive);
}

void drawTrouble(Dice& dice, Plan& plan)
{
    switch (dice.below(9)) {
    case 0:
        plan.document = drawFault(dice);
        break;
    case 1:
    case 2:
    case 3:
        plan.package = drawFault(dice);
        break;
    case 4:
        (plan.hasKeys ? plan.signature : plan.package) = drawFault(dice);
        break;
    case 5:
        drawForgery(dice, plan);
        break;
    case 6:
        plan.surroundings =
            Plan::Surroundings(dice.between(Plan::eFullDisk, Plan::eReadOnlySettings));
        plan.room = dice.logarithmic(plan.size);
        break;
    default:
        plan.act = drawAct(dice);
        if (plan.act.stage == Act::eReceived && !plan.isArchive) {
            plan.size += 30'000'000; // takes several iterations of the event loop to write
        }
        break;
    }
}

const char* const kinds[] = {"in order",       "delayed by ms",  "dripping by",   "cut and closed",
                             "cut and reset",  "cut and silent", "length off by", "no length, cut",
                             "status",         "redirects",      "redirect loop", "elsewhere",
                             "HTML",           "empty",          "no HTTP",       "compressed",
                             "compressed, cut"};
const char* const acts[] = {"nothing",
                            "cancel",
                            "close the parent",
                            "delete client",
                            "check again",
                            "install again",
                            "abort update",
                            "remove the temporary folder",
                            "close the list",
                            "close the progress",
                            "linger"};
const char* const stages[] = {"the check", "the install", "the download", "the writing",
                              "the whole file"};
const char* const contents[] = {"", "changed meanwhile", "climbing archive", "damaged archive"};
const char* const forgeries[] = {"",           "other key",     "other bytes",
                                 "other name", "other release", "damaged signature"};
const char* const surroundings[] = {"", "full disk", "file limit", "no temporary folder",
                                    "read-only settings"};

} // namespace

bool Fault::isHarmless() const
{
    // Checks do not follow the last status; the other limit is that of downloads.
    return kind == eNone || kind == eDelay || kind == eDrip || kind == eCompressed ||
           (kind == eRedirects && number <= 50 && status != 308);
}

bool Fault::isTemporary() const
{
    static const int statuses[] = {408, 429, 500, 502, 503, 504};
    return kind == eCutAndClosed || kind == eCutAndReset || kind == eCutAndSilent ||
           kind == eHtml ||
           (kind == eStatus &&
            std::find(std::begin(statuses), std::end(statuses), number) != std::end(statuses));
}

QString Fault::text() const
{
    return QStringLiteral("%1 %2 (%3)")
        .arg(QLatin1String(kinds[kind]), QString::number(number), QString::number(status));
}

bool Plan::arePartsHarmless() const
{
    return std::all_of(parts.begin(), parts.end(), [](const Fault& fault) {
        return fault.isHarmless() && fault.kind != Fault::eRedirects;
    });
}

bool Plan::isPackageHarmless() const
{
    if (retries == 0 || package.isHarmless()) {
        return package.isHarmless();
    }
    const QList<Fault> all = QList<Fault>{package} + tries;
    for (int i = 0; i < all.size(); ++i) {
        if (all.at(i).isHarmless()) {
            return true;
        }
        if (!all.at(i).isTemporary() || i >= retries) {
            return false;
        }
    }
    return true;
}

bool Plan::mustSucceed() const
{
    return document.isHarmless() && isPackageHarmless() && signature.isHarmless() &&
           (content == eGenuine || (content == eChangedMeanwhile && !hasKeys)) &&
           arePartsHarmless() && forgery == eNoForgery &&
           (surroundings == eFine || surroundings == eReadOnlySettings) &&
           act.kind == Act::eNothing && !isRejected;
}

QString Plan::text() const
{
    QStringList list{QStringLiteral("%1 of %2 bytes")
                         .arg(isArchive ? QStringLiteral("archive") : QStringLiteral("program"))
                         .arg(size)};
    const auto add = [&list](bool isTrue, const QString& text) {
        if (isTrue) {
            list << text;
        }
    };
    add(hasKeys, QStringLiteral("keys"));
    add(restartsNow, QStringLiteral("restart now"));
    add(isRejected, QStringLiteral("rejected"));
    add(document.kind != Fault::eNone, QStringLiteral("document ") + document.text());
    add(package.kind != Fault::eNone, QStringLiteral("package ") + package.text());
    add(retries > 0, QStringLiteral("%1 retries").arg(retries));
    for (const Fault& fault : tries) {
        list << QStringLiteral("then ") + fault.text();
    }
    add(isDifferential, QStringLiteral("differential"));
    for (const Fault& fault : parts) {
        list << QStringLiteral("part ") + fault.text();
    }
    add(leftBehind > 0, QStringLiteral("%1 left behind").arg(leftBehind));
    add(signature.kind != Fault::eNone, QStringLiteral("signature ") + signature.text());
    add(content != eGenuine, QLatin1String(contents[content]));
    add(forgery != eNoForgery, QLatin1String(forgeries[forgery]));
    add(surroundings != eFine,
        QStringLiteral("%1 (%2)").arg(QLatin1String(faults::surroundings[surroundings])).arg(room));
    add(act.kind != Act::eNothing,
        QStringLiteral("%1%4 %2 events after the start of %3")
            .arg(QLatin1String(acts[act.kind]))
            .arg(act.events)
            .arg(QLatin1String(stages[act.stage]))
            .arg(act.isInSlot ? QStringLiteral(" in a slot") : QString()));
    return list.join(QStringLiteral("; "));
}

Plan drawPlan(quint32 seed, int number)
{
    Dice dice(seed, number);
    Plan plan;
    plan.seed = seed;
    plan.number = number;
    plan.isArchive = dice.oneIn(2);
    plan.hasKeys = dice.oneIn(2);
    plan.restartsNow = dice.oneIn(2);
    plan.isRejected = dice.oneIn(30);
    plan.size = 600 + dice.logarithmic(300'000);
    plan.patienceMs = dice.between(20, 150);
    const int troubles = dice.oneIn(12) ? 0 : dice.between(1, 3);
    for (int i = 0; i < troubles; ++i) {
        drawTrouble(dice, plan);
    }
    if (dice.oneIn(2)) {
        plan.retries = dice.between(1, 4);
        plan.package = dice.oneIn(3) ? plan.package : drawInterruption(dice);
        for (int i = dice.below(4); i > 0; --i) {
            plan.tries << (dice.oneIn(3) ? drawFault(dice) : drawInterruption(dice));
        }
        plan.leftBehind = dice.oneIn(4) ? dice.below(millionths) : 0;
    }
    if (plan.retries > 0 && plan.isArchive && plan.hasKeys && !dice.oneIn(4)) {
        plan.isDifferential = true;
        plan.size += 60'000; // or the manifest would be too large for it
        for (int i = dice.below(5); i > 0; --i) {
            plan.parts << (dice.oneIn(2) ? Fault() : drawFault(dice));
        }
    }
    return plan;
}

} // namespace zk::faults
