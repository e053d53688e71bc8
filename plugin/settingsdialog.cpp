// SPDX-License-Identifier: GPL-2.0-or-later
#include "settingsdialog.h"

#include "configfile.h"
#include "network/networkserver.h"
#include "support/log.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QDir>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QSpinBox>
#include <QTreeWidget>
#include <QUrl>
#include <QVBoxLayout>

#include <chrono>

#include <util/bmem.h>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::seconds refreshInterval {1};
constexpr QSize initialSize(620, 320);

enum Column {
    PeerPort,
    ConnectedSince,
    MessagesReceived,
    MessagesSent,
    Unsent,
};

void alignNumbers(QTreeWidgetItem* item)
{
    for (const Column column : {PeerPort, MessagesReceived, MessagesSent, Unsent}) {
        item->setTextAlignment(column, Qt::AlignRight | Qt::AlignVCenter);
    }
}

// The path of a file in the module's data folder; empty when it is not installed.
QString dataFile(obs_module_t* module, const char* name)
{
    const std::unique_ptr<char, decltype(&bfree)> path(module ? obs_find_module_file(module, name) : nullptr, bfree);
    return QString::fromUtf8(path.get());
}

} // namespace

SettingsDialog::SettingsDialog(NetworkServer* server, obs_module_t* module, QWidget* parent)
    : QDialog(parent)
    , m_server(server)
    , m_text(module)
    , m_guide(dataFile(module, "protocol.md"))
    , m_state(new QLabel)
    , m_copyButton(new QPushButton(m_text("CopyAddress")))
    , m_portBox(new QSpinBox)
    , m_applyButton(new QPushButton(m_text("Apply")))
    , m_problem(new QLabel)
    , m_controllers(new QTreeWidget)
{
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(u"KestrelBridge"_s);
    resize(initialSize);

    m_state->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_state->setWordWrap(true);
    connect(m_copyButton, &QPushButton::clicked, this, &SettingsDialog::copyAddress);
    auto* stateRow = new QHBoxLayout;
    stateRow->addWidget(m_state, 1);
    stateRow->addWidget(m_copyButton);

    m_portBox->setRange(ConfigFile::minimumPort, ConfigFile::maximumPort);
    m_portBox->setValue(m_server->isListening() ? m_server->serverPort() : ConfigFile().readPort());
    connect(m_portBox, &QSpinBox::valueChanged, this, &SettingsDialog::updateApplyButton);
    auto* portLabel = new QLabel(m_text("Port"));
    portLabel->setBuddy(m_portBox);
    m_applyButton->setDefault(true);
    connect(m_applyButton, &QPushButton::clicked, this, &SettingsDialog::applyPort);
    auto* portRow = new QHBoxLayout;
    portRow->addWidget(portLabel);
    portRow->addWidget(m_portBox);
    portRow->addWidget(m_applyButton);
    portRow->addStretch();

    m_problem->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_problem->setWordWrap(true);
    m_problem->hide();

    m_controllers->setHeaderLabels({m_text("PeerPort"), m_text("ConnectedSince"), m_text("MessagesReceived"),
                                    m_text("MessagesSent"), m_text("Unsent")});
    alignNumbers(m_controllers->headerItem());
    m_controllers->setRootIsDecorated(false);
    m_controllers->setUniformRowHeights(true);
    m_controllers->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_controllers->header()->setSectionResizeMode(ConnectedSince, QHeaderView::Stretch);
    m_controllers->header()->setStretchLastSection(false);
    auto* controllersLabel = new QLabel(m_text("Controllers"));
    controllersLabel->setBuddy(m_controllers);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &SettingsDialog::reject);
    if (!m_guide.isEmpty()) {
        auto* guideButton = buttons->addButton(m_text("OpenGuide"), QDialogButtonBox::HelpRole);
        connect(guideButton, &QPushButton::clicked, this, &SettingsDialog::openGuide);
    }

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(stateRow);
    layout->addLayout(portRow);
    layout->addWidget(m_problem);
    layout->addWidget(controllersLabel);
    layout->addWidget(m_controllers, 1);
    layout->addWidget(buttons);
    m_portBox->setFocus();

    connect(&m_refreshTimer, &QTimer::timeout, this, &SettingsDialog::refreshControllers);
    m_refreshTimer.start(refreshInterval);
    showState();
    refreshControllers();
}

void SettingsDialog::showState()
{
    const bool isListening = m_server->isListening();
    m_state->setText(isListening ? m_text("Listening").arg(address()).arg(m_server->serverPort())
                                 : m_text("NotListening").arg(m_server->errorString()));
    m_copyButton->setEnabled(isListening);
    updateApplyButton();
}

void SettingsDialog::refreshControllers()
{
    const QList<const NetworkConnection*> connections = m_server->connections();
    while (m_controllers->topLevelItemCount() > connections.size()) {
        delete m_controllers->topLevelItem(m_controllers->topLevelItemCount() - 1);
    }
    const QLocale locale;
    for (int row = 0; row < connections.size(); ++row) {
        if (row == m_controllers->topLevelItemCount()) {
            alignNumbers(new QTreeWidgetItem(m_controllers));
        }
        const NetworkConnection* connection = connections.at(row);
        QTreeWidgetItem* item = m_controllers->topLevelItem(row);
        item->setText(PeerPort, QString::number(connection->peerPort()));
        item->setText(ConnectedSince,
                      locale.toString(connection->connectedSince().toLocalTime(), QLocale::ShortFormat));
        item->setText(MessagesReceived, locale.toString(connection->messagesReceived()));
        item->setText(MessagesSent, locale.toString(connection->messagesSent()));
        item->setText(Unsent, locale.formattedDataSize(connection->unsent_bytes()));
    }
}

void SettingsDialog::updateApplyButton()
{
    m_applyButton->setEnabled(m_portBox->value() != m_server->serverPort()); // which is 0 unless it listens
}

void SettingsDialog::applyPort()
{
    const int port = m_portBox->value();
    const quint16 previousPort = m_server->serverPort(); // 0 unless it listens
    m_server->start(static_cast<quint16>(port));
    if (m_server->isListening() || previousPort == 0) {
        savePort(port);
    } else {
        showProblem(m_text("NotApplied").arg(port).arg(m_server->errorString()));
        m_server->start(previousPort); // controllers can connect as before
    }
    showState();
}

void SettingsDialog::savePort(int port)
{
    ConfigFile config;
    const bool isSaved = config.writePort(port);
    if (!config.warning().isEmpty()) {
        logInfo("%s", config.warning().constData());
    }
    showProblem(isSaved ? QString()
                        : m_text("NotSaved").arg(QDir::toNativeSeparators(config.path()), config.errorString()));
}

void SettingsDialog::copyAddress()
{
    QGuiApplication::clipboard()->setText(u"%1:%2"_s.arg(address()).arg(m_server->serverPort()));
}

void SettingsDialog::openGuide()
{
    const bool isOpened = QDesktopServices::openUrl(QUrl::fromLocalFile(m_guide));
    showProblem(isOpened ? QString() : m_text("NotOpened").arg(QDir::toNativeSeparators(m_guide)));
}

void SettingsDialog::showProblem(const QString& problem)
{
    m_problem->setText(problem);
    m_problem->setVisible(!problem.isEmpty());
}

QString SettingsDialog::address() const
{
    return m_server->serverAddress().toString();
}
