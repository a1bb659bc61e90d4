#pragma once

#include <QPushButton>

namespace vantor::ui {

// The button of every page; the prominent variant marks a page's main action.
class QuietButton : public QPushButton {
    Q_OBJECT
    Q_PROPERTY(bool prominent READ prominent WRITE setProminent)
public:
    explicit QuietButton(const QString &text, QWidget *parent = nullptr, bool prominent = false);

    bool prominent() const { return m_prominent; }
    void setProminent(bool prominent);
    // Changes the label and the accessible name together.
    void setLabel(const QString &text);

protected:
    void changeEvent(QEvent *event) override;

private:
    void applyStyle();
    bool m_prominent = false;
};

} // namespace vantor::ui
