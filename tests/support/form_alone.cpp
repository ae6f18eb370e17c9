#include "form_alone.h"

#include <QDir>
#include <QMetaProperty>
#include <QTextBlock>
#include <QTextDocument>

#include <array>
#include <cstring>
#include <map>
#include <memory>

namespace {

QString describe(const QSize &size)
{
    return QString("%1x%2").arg(size.width()).arg(size.height());
}

template<typename Enum>
QString key(Enum value)
{
    return QMetaEnum::fromType<Enum>().valueToKey(value);
}

/** The resource that holds the image of @p pixmap. */
QString resource(const QPixmap &pixmap)
{
    const QStringList files = QDir(":/").entryList({"*.png", "*.PNG"});
    for (const QString &file : files) {
        if (pixmap.toImage() == QPixmap(":/" + file).toImage())
            return ":/" + file;
    }
    return "no resource";
}

/** The images that @p icon offers without making one from another. */
QString describe(const QIcon &icon)
{
    static const char *const modes[] = {"Normal", "Disabled", "Active", "Selected"};
    static const char *const states[] = {"On", "Off"};
    QStringList images;
    for (const auto mode : {QIcon::Normal, QIcon::Disabled, QIcon::Active, QIcon::Selected}) {
        for (const auto state : {QIcon::Off, QIcon::On}) {
            const QList<QSize> sizes = icon.availableSizes(mode, state);
            for (const QSize &size : sizes)
                images << modes[mode] << states[state] << describe(size)
                       << resource(icon.pixmap(size, mode, state));
        }
    }
    return images.join(' ');
}

QString describe(const QSizePolicy &policy)
{
    QString description = key(policy.horizontalPolicy()) + ' ' + key(policy.verticalPolicy());
    if (policy.horizontalStretch() != 0 || policy.verticalStretch() != 0)
        description += ", stretched";
    if (policy.hasHeightForWidth())
        description += ", height for width";
    if (policy.controlType() != QSizePolicy::DefaultType)
        description += QString(", control type %1").arg(policy.controlType());
    return description;
}

QString describe(const QObject &object, const QMetaProperty &property)
{
    const QVariant value = property.read(&object);
    // Whatever its type is called, a value of an enumeration is kept as an int.
    if (property.isEnumType())
        return property.enumerator().valueToKeys(*static_cast<const int *>(value.constData()));
    switch (value.userType()) {
    case QMetaType::QIcon:
        return describe(value.value<QIcon>());
    case QMetaType::QPixmap:
        return resource(value.value<QPixmap>());
    case QMetaType::QSize:
        return describe(value.toSize());
    case QMetaType::QSizePolicy:
        return describe(value.value<QSizePolicy>());
    case QMetaType::QString:
        return '"' + value.toString() + '"';
    default:
        return value.toString();
    }
}

/** An object of each class, by its name. */
template<typename... Classes>
std::map<QByteArray, std::unique_ptr<QObject>> newObjects()
{
    std::map<QByteArray, std::unique_ptr<QObject>> objects;
    (objects.emplace(Classes::staticMetaObject.className(), std::make_unique<Classes>()), ...);
    return objects;
}

/** The properties whose texts are not those of a new object. */
QStringList changedProperties(const QObject &object)
{
    const auto newOnes = newObjects<QAction, QComboBox, QGroupBox, QHBoxLayout, QLabel, QLineEdit,
                                    QMainWindow, QMenuBar, QPushButton, QStackedWidget, QStatusBar,
                                    QTextBrowser, QVBoxLayout, QWidget>();
    const auto usual = newOnes.find(object.metaObject()->className());
    if (usual == newOnes.end())
        return {"no new object to compare with"};
    // These are written elsewhere, or follow from others.
    static const QByteArrayList skipped {
        "objectName",  "font",      "palette", "geometry",      "minimumSize",
        "maximumSize", "frameRect", "visible", "mouseTracking", "layoutDirection",
        "margin",      "spacing",   "html",    "markdown",      "plainText"};

    QStringList lines;
    const QMetaObject *meta = object.metaObject();
    for (int i = 0; i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        if (!property.isWritable() || !property.isStored() || skipped.contains(property.name()))
            continue;
        const QString value = describe(object, property);
        if (value != describe(*usual->second, property))
            lines << QString("%1: %2").arg(property.name(), value);
    }
    return lines;
}

QStringList paletteLines(const QPalette &palette)
{
    const QPalette usual = QApplication::palette();
    QStringList lines;
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        for (int i = 0; i < QPalette::NColorRoles; ++i) {
            const auto role = static_cast<QPalette::ColorRole>(i);
            const QBrush &brush = palette.brush(group, role);
            if (palette.isBrushSet(group, role) || brush != usual.brush(group, role))
                lines << QString("palette %1 %2: %3 %4")
                             .arg(key(group), key(role), brush.color().name(QColor::HexArgb),
                                  key(brush.style()));
        }
    }
    return lines;
}

/** Whether a layout gives @p widget its place. */
bool isLaidOut(QWidget &widget)
{
    const QWidget *parent = widget.parentWidget();
    return parent && parent->layout() && parent->layout()->indexOf(&widget) >= 0;
}

/** The widgets that @p parent holds, from the lowest to the topmost: Qt keeps that order. */
QStringList stackedNames(const QWidget &parent)
{
    QStringList names;
    for (const QObject *child : parent.children()) {
        if (child->isWidgetType())
            names << child->objectName();
    }
    return names;
}

/** Whether @p widget holds others, at places that the form gives them. */
bool isContainer(const QWidget &widget)
{
    const bool canBe =
        widget.metaObject() == &QWidget::staticMetaObject || widget.inherits("QGroupBox");
    return canBe && !widget.layout() && !stackedNames(widget).isEmpty();
}

QStringList widgetLines(QWidget &widget)
{
    QStringList lines;
    const QRect place = widget.geometry();
    if (!isLaidOut(widget))
        lines << QString("geometry: %1,%2 ").arg(place.x()).arg(place.y()) + describe(place.size());
    if (const auto *pages = qobject_cast<QStackedWidget *>(widget.parentWidget()))
        lines << QString("page: %1").arg(pages->indexOf(&widget));
    if (!widget.isWindow() && widget.isHidden())
        lines << "hidden";
    if (isContainer(widget))
        lines << "from the lowest: " + stackedNames(widget).join(' ');
    if (!widget.minimumSize().isNull())
        lines << "minimumSize: " + describe(widget.minimumSize());
    if (widget.maximumSize() != QSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX))
        lines << "maximumSize: " + describe(widget.maximumSize());
    if (widget.testAttribute(Qt::WA_SetLayoutDirection))
        lines << "layoutDirection: " + key(widget.layoutDirection());
    if (widget.testAttribute(Qt::WA_SetFont))
        lines << QString("font: %1 pt").arg(widget.font().pointSize());
    if (widget.testAttribute(Qt::WA_SetPalette))
        lines << paletteLines(widget.palette());
    return lines;
}

QString describe(QLayoutItem &item)
{
    if (item.widget())
        return item.widget()->objectName();
    return "spacer " + describe(item.sizeHint()) + ' ' + describe(item.spacerItem()->sizePolicy());
}

QStringList layoutLines(const QBoxLayout &layout)
{
    const QMargins margins = layout.contentsMargins();
    QStringList lines {QString("spacing: %1").arg(layout.spacing()),
                       QString("margins: %1 %2 %3 %4")
                           .arg(margins.left())
                           .arg(margins.top())
                           .arg(margins.right())
                           .arg(margins.bottom())};
    if (layout.parentWidget()->layout() != &layout)
        lines << "not its parent's layout";
    for (int i = 0; i < layout.count(); ++i) {
        QString line = "item: " + describe(*layout.itemAt(i));
        if (layout.stretch(i) != 0)
            line += QString(", stretch %1").arg(layout.stretch(i));
        if (layout.itemAt(i)->alignment())
            line += QString(", alignment %1").arg(layout.itemAt(i)->alignment());
        lines << line;
    }
    return lines;
}

QStringList objectLines(QObject &object)
{
    QStringList lines = changedProperties(object);
    if (auto *widget = qobject_cast<QWidget *>(&object))
        lines = widgetLines(*widget) + lines;
    if (const auto *layout = qobject_cast<QBoxLayout *>(&object))
        lines << layoutLines(*layout);
    if (const auto *box = qobject_cast<QComboBox *>(&object)) {
        for (int i = 0; i < box->count(); ++i)
            lines << "item: " + box->itemText(i);
    }
    return lines;
}

/** The properties of @p format that differ from those of plain text in the font @p family. */
QString describe(const QTextCharFormat &format, const QString &family)
{
    QString description = QString("%1 pt").arg(format.fontPointSize());
    if (format.fontWeight() > QFont::Normal)
        description += " bold";
    if (format.fontItalic())
        description += " italic";
    if (format.fontUnderline())
        description += " underlined";
    if (format.fontFamily() != family)
        description += ' ' + format.fontFamily();
    return description;
}

QStringList runLines(const QTextBlock &block, const QString &family)
{
    // An empty paragraph has no run, but a format for what would be typed there.
    if (block.text().isEmpty())
        return {describe(block.charFormat(), family)};
    QStringList lines;
    for (auto it = block.begin(); !it.atEnd(); ++it) {
        const QTextCharFormat format = it.fragment().charFormat();
        const QString image = format.toImageFormat().name();
        lines << describe(format, family) + ": "
                + (format.isImageFormat() ? image + ' ' + describe(QImage(image).size())
                                          : '"' + it.fragment().text() + '"');
    }
    return lines;
}

bool hasMargins(const QTextBlockFormat &format)
{
    return format.topMargin() != 0 || format.bottomMargin() != 0 || format.leftMargin() != 0
        || format.rightMargin() != 0 || format.textIndent() != 0 || format.indent() != 0;
}

} // namespace

QVector<QObject *> FormAlone::members() const
{
    // The class has nothing but pointers, so its memory tells their order.
    std::array<QObject *, sizeof(ui) / sizeof(void *)> pointers {};
    static_assert(sizeof(pointers) == sizeof(ui));
    std::memcpy(pointers.data(), &ui, sizeof(ui));

    const auto objects = window.findChildren<QObject *>();
    QVector<QObject *> members;
    for (QObject *pointer : pointers)
        members.append(objects.contains(pointer) ? pointer : nullptr);
    return members;
}

QString FormAlone::describe()
{
    QVector<QObject *> objects = members();
    objects.removeAll(nullptr);
    objects.prepend(&window);

    QString description;
    QVector<const QObject *> parents;
    for (QObject *object : qAsConst(objects)) {
        while (!parents.isEmpty() && parents.last() != object->parent())
            parents.removeLast();
        const QString indent(4 * parents.size(), ' ');
        description +=
            indent + object->metaObject()->className() + ' ' + object->objectName() + '\n';
        const QStringList lines = objectLines(*object);
        for (const QString &line : lines)
            description += indent + "    " + line + '\n';
        parents.append(object);
    }
    return description;
}

QString describeDocument(const QTextDocument &document)
{
    const QString family = document.begin().charFormat().fontFamily();
    QString description = "font: " + family + '\n';
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        description += QString("%1").arg(block.blockNumber() + 1, 2);
        if (block.charFormat().fontFamily() != family)
            description += " in " + block.charFormat().fontFamily();
        if (hasMargins(block.blockFormat()))
            description += " with margins";
        description += "  " + runLines(block, family).join("\n    ") + '\n';
    }
    return description;
}
