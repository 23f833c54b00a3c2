#pragma once

#include <QQuickView>

class NotchWindowController;

// The one window of the shell: frameless, transparent, above everything on
// every desktop, and (through its input shape) only as big as the outline
// for the pointer. It forwards raw input to the controller, which decides.
class NotchPanel : public QQuickView
{
    Q_OBJECT
public:
    explicit NotchPanel(NotchWindowController &controller);

    // Whether the panel may take the keyboard (only while the user types).
    bool allowsKeyboard() const { return m_allowsKeyboard; }
    void setAllowsKeyboard(bool allows);

protected:
    bool event(QEvent *event) override;

private:
    NotchWindowController &m_controller;
    bool m_allowsKeyboard = false;
};
