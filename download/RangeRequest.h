#pragma once

#include "download/HttpRange.h"

#include <QNetworkProxy>
#include <QNetworkReply>
#include <QObject>
#include <QTimer>
#include <QUrl>

#include <chrono>
#include <memory>
#include <optional>

class QNetworkAccessManager;
class QNetworkRequest;

namespace zk {

class ContentDecoder;
class PartialFile;

/**
 * One try of a download: asks for what is missing of a partial file, or of a section of a file,
 * follows redirects, and appends what is right.
 *
 * Construct and connect; ended() follows once, unless the object is destroyed, which ends the
 * request. GUI thread only.
 */
class RangeRequest final : public QObject
{
    Q_OBJECT

public:
    /** How it ended. */
    enum Outcome {
        /** The partial file is complete; or, of a section, what was asked for has arrived. */
        eWhole,
        /** The network or the server failed: a later try may continue. */
        eBroken,
        /** What is there and what the server sends do not fit together. */
        eUnfit,
        /** Another try would end the same way. */
        eFailed,
    };
    struct End
    {
        Outcome outcome = eFailed;
        /** A code for the user. */
        QNetworkReply::NetworkError error = QNetworkReply::NoError;
        /** 0 without an answer. */
        int httpStatus = 0;
        /** What the server asked for; zero if nothing. */
        std::chrono::milliseconds retryAfter{0};
        /** For the log. */
        QString reason;
    };

    /** @p partial, which is that of @p section if there is one, must outlive it. */
    RangeRequest(const QUrl& url, PartialFile& partial, const QNetworkProxy& proxy,
                 std::chrono::milliseconds stallTimeout,
                 std::optional<HttpRange::Section> section = {});
    ~RangeRequest() override;

signals:
    /** Bytes of the partial file, and of the whole one (-1: unknown). */
    void progressed(qint64 received, qint64 total);
    void ended(const zk::RangeRequest::End& end);

private:
    PartialFile& m_partial;
    /** If only this is wanted. Hashes tell whether it is right, so that servers need no validators
     * for it, nor agree on them. */
    const std::optional<HttpRange::Section> m_section;
    /** Size of the partial file before the request. */
    const qint64 m_begun;
    QNetworkAccessManager* const m_manager;
    QNetworkReply* m_reply = nullptr;
    QTimer m_stall;
    std::unique_ptr<ContentDecoder> m_decoder;
    QByteArray m_buffer;
    int m_redirects = 0;
    /** Bytes of an answer that is not the file. */
    qint64 m_drained = 0;
    /** The answer is the file, or the rest of it. */
    bool m_isAccepted = false;
    bool m_isExamined = false;
    bool m_hasEnded = false;

    void get(const QUrl& url);
    void setRange(QNetworkRequest& request) const;
    void receive();
    void examine();
    [[nodiscard]] std::optional<End> judge();
    [[nodiscard]] std::optional<End> acceptWhole();
    [[nodiscard]] std::optional<End> acceptRest();
    [[nodiscard]] std::optional<End> judgeSection();
    [[nodiscard]] std::optional<End> complaintAboutPage() const;
    /** How large the partial file becomes with what was asked for; -1 if unknown. */
    [[nodiscard]] qint64 wantedSize() const;
    [[nodiscard]] End refusedRange() const;
    [[nodiscard]] bool writePiece();
    void drain();
    void finish();
    [[nodiscard]] End conclusion() const;
    void followRedirect();
    [[nodiscard]] End made(Outcome outcome, QNetworkReply::NetworkError error,
                           const QString& reason) const;
    void end(const End& end);
};

} // namespace zk
