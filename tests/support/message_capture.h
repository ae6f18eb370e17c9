#pragma once

#include <QObject>
#include <QString>
#include <QVector>

/**
 * Collects Qt's own messages for as long as it lives, with the place that each
 * names as its origin, and keeps them from being printed. One at a time.
 */
class MessageCapture : public QObject
{
    Q_OBJECT

public:
    struct Message
    {
        QtMsgType type;
        QString text;
        QString function;
        QString file;
        QString category;
    };

    MessageCapture();
    ~MessageCapture() override;

    const QVector<Message> &messages() const { return m_messages; }

    /** Returns whether some message contains @p text. */
    bool contains(const char *text) const;

    void clear() { m_messages.clear(); }

signals:
    void captured();

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text);

    static MessageCapture *active;
    QtMessageHandler m_previous;
    QVector<Message> m_messages;
};
