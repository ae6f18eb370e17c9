#include "message_capture.h"

#include <algorithm>

MessageCapture *MessageCapture::active = nullptr;

MessageCapture::MessageCapture()
    : m_previous(qInstallMessageHandler(handle))
{
    active = this;
}

MessageCapture::~MessageCapture()
{
    qInstallMessageHandler(m_previous);
    active = nullptr;
}

bool MessageCapture::contains(const char *text) const
{
    return std::any_of(m_messages.begin(), m_messages.end(), [text](const Message &message) {
        return message.text.contains(QLatin1String(text));
    });
}

void MessageCapture::handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    // The process is about to end, and nobody would read it here.
    if (type == QtFatalMsg)
        active->m_previous(type, context, text);
    active->m_messages.append({type, text, QString::fromLatin1(context.function),
                               QString::fromLatin1(context.file),
                               QString::fromLatin1(context.category)});
    emit active->captured();
}
