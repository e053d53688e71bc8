// SPDX-License-Identifier: GPL-2.0-or-later
#pragma once

#include "localizedtexts.h"

#include <QDialog>
#include <QTimer>

class NetworkServer;
class QLabel;
class QPushButton;
class QSpinBox;
class QTreeWidget;

// Shows whether the plug-in listens, and the connected controllers; changes the port. The controllers are refreshed
// once a second for as long as the dialog exists: it is created to be shown, and deletes itself when it is closed.
// Non-modal. Main thread only.
class SettingsDialog : public QDialog
{
    Q_OBJECT

public:
    // The server has to outlive the dialog. The module may be null: then the dialog has no texts and no guide.
    SettingsDialog(NetworkServer* server, obs_module_t* module, QWidget* parent);

private:
    void showState(); // which changes here only
    void refreshControllers();
    void updateApplyButton();
    void applyPort();
    void savePort(int port);
    void copyAddress();
    void openGuide();
    void showProblem(const QString& problem);
    QString address() const;

    NetworkServer* m_server;
    LocalizedTexts m_text;
    QString m_guide; // path of the installed protocol guide, or empty
    QLabel* m_state;
    QPushButton* m_copyButton;
    QSpinBox* m_portBox;
    QPushButton* m_applyButton;
    QLabel* m_problem; // with the last command; hidden while there is none
    QTreeWidget* m_controllers;
    QTimer m_refreshTimer;
};
