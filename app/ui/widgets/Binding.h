#pragma once

// Small helpers the pages share to bind controls: an objectName for tests, and refreshes from
// the workspace that never come back as edits.

#include <QCheckBox>
#include <QLatin1String>
#include <QLineEdit>
#include <QSignalBlocker>

namespace vantor::ui {

template <typename Widget> Widget *named(Widget *widget, const char *objectName)
{
    widget->setObjectName(QLatin1String(objectName));
    return widget;
}

// Leaves the field alone when it already shows the text, so the cursor stays where it is.
inline void setTextQuietly(QLineEdit *field, const QString &text)
{
    if (field->text() == text)
        return;
    const QSignalBlocker blocker(field);
    field->setText(text);
}

inline void setCheckedQuietly(QCheckBox *box, bool checked)
{
    const QSignalBlocker blocker(box);
    box->setChecked(checked);
}

} // namespace vantor::ui
