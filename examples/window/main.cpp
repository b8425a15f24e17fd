// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A window that installs a product and shows the progress. At the end the library's own
// dialog shows the outcome, with the log of the installation and a button to run the product.
//
//     window                       type a serial number, press Install
//     window --unattended SERIAL   install it at once, press no buttons, end

#include <QApplication>
#include <QCloseEvent>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
#include <QTimer>
#include <QVBoxLayout>
#include <VantrelAgent/CAPIInstallPackages>

class Window : public QWidget
{
    Q_OBJECT

public:
    explicit Window(bool unattended) : m_unattended(unattended)
    {
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(m_serial);
        layout->addWidget(m_button);
        layout->addWidget(m_text);
        layout->addWidget(m_bar);
        m_serial->setMaximum(999999);
        connect(m_button, &QPushButton::clicked, this, [this] { install(m_serial->value()); });
    }

    // Returns when the install is over and its dialog is closed.
    bool install(long serial)
    {
        std::vector<long> serials{ serial };
        bool succeeded = false;
        m_agreed = true;
        m_button->setEnabled(false);
        auto* request = new CAPIInstallPackages(this, serials, false);
        connect(request, &CAPI::APIComplete, this, [&succeeded](bool ok) { succeeded = ok; });
        request->Execute(); // it has destroyed itself
        m_button->setEnabled(true);
        // An install that the user declined counts as succeeded, so check the answer too.
        succeeded = succeeded && m_agreed;
        say(succeeded ? tr("Done.") : tr("Nothing was installed."));
        return succeeded;
    }

public slots: // which the install finds by their names
    void onPreInstallInformation(const std::string& text) { say(QString::fromStdString(text)); }
    void onCanContinue(int count, bool& canContinue)
    {
        if (m_unattended)
            return;
        const QString question = tr("Download and install %n file(s)?", nullptr, count);
        m_agreed = QMessageBox::question(this, windowTitle(), question) == QMessageBox::Yes;
        canContinue = m_agreed;
    }
    void onBeginReceivePackage(const std::string& name, const std::string& size)
    {
        say(tr("Downloading %1 (%2)")
                .arg(QString::fromStdString(name), QString::fromStdString(size)));
    }
    void onBeginInstall(const std::string& name)
    {
        say(tr("Setting up %1").arg(QString::fromStdString(name)));
    }
    void onReceivePackagePulse(int, int overallPercent) { m_bar->setValue(overallPercent); }

protected:
    // The install runs inside a wait that this window has called, so the window must stay
    // open until that returns.
    void closeEvent(QCloseEvent* event) override { event->setAccepted(m_button->isEnabled()); }

private:
    void say(const QString& text) { m_text->setText(text); }

    const bool m_unattended;
    bool m_agreed = false;
    QSpinBox* const m_serial = new QSpinBox; // the layout makes them children of the window
    QPushButton* const m_button = new QPushButton(tr("Install"));
    QLabel* const m_text = new QLabel;
    QProgressBar* const m_bar = new QProgressBar;
};

// Closes each dialog, as a user would, and prints its title.
void CloseDialog()
{
    QWidget* dialog = QApplication::activeModalWidget();
    if (!dialog)
        return;
    qInfo("dialog: %s", qUtf8Printable(dialog->windowTitle()));
    dialog->close();
}

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    const QStringList words = application.arguments();
    const bool unattended = words.size() == 3 && words[1] == QLatin1String("--unattended");
    Window window(unattended);
    window.setWindowTitle(QObject::tr("A store front end"));
    window.show();
    if (!unattended)
        return application.exec();
    QTimer closer;
    QObject::connect(&closer, &QTimer::timeout, CloseDialog);
    closer.start(100);
    const bool succeeded = window.install(words[2].toLong());
    qInfo("bar: %d", window.findChild<QProgressBar*>()->value());
    return succeeded ? 0 : 1;
}

#include "main.moc"
