#pragma once

#include <QCoreApplication>
#include <QTranslator>
#include <QVector>

/**
 * Stands in for a translation file for as long as it lives: it remembers what was asked of it
 * and answers every text of the context "MainWindow" with "tr:" and the text.
 */
class RecordingTranslator : public QTranslator
{
public:
    struct Request
    {
        QByteArray context;
        QString text;
        QByteArray disambiguation;
        int n;
    };

    RecordingTranslator()
    {
        QCoreApplication::installTranslator(this);
        // The application itself asks for the language's direction of writing.
        m_requests.clear();
    }
    Q_DISABLE_COPY(RecordingTranslator)

    bool isEmpty() const override { return false; }

    QString translate(const char *context, const char *sourceText, const char *disambiguation,
                      int n) const override
    {
        m_requests.append({context, QString::fromUtf8(sourceText), disambiguation, n});
        if (qstrcmp(context, "MainWindow") != 0)
            return {};
        return "tr:" + QString::fromUtf8(sourceText);
    }

    const QVector<Request> &requests() const { return m_requests; }

private:
    mutable QVector<Request> m_requests;
};
