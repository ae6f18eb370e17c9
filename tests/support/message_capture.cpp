#include "message_capture.h"

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

void MessageCapture::handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    active->m_messages.append({type, text, QString::fromLatin1(context.function),
                               QString::fromLatin1(context.file),
                               QString::fromLatin1(context.category)});
    emit active->captured();
}
