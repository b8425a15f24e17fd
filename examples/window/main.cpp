// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A window that shows what an install would do, installs it, and shows the progress.
//     window           type a serial number, press Install
//     window SERIAL    install it at once, without a question, and end

#include <Pakmart/CommitJob>
#include <Pakmart/PrepareJob>
#include <QtWidgets>

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    const int unattended = application.arguments().value(1).toInt();
    QWidget window;
    auto* layout = new QVBoxLayout(&window);
    auto* number = new QSpinBox;
    auto* button = new QPushButton(QObject::tr("Install"));
    auto* text = new QLabel;
    auto* bar = new QProgressBar;
    for (QWidget* part : QList<QWidget*>{ number, button, text, bar })
        layout->addWidget(part);
    number->setMaximum(999999);

    const auto end = [=](KJob* job) {
        text->setText(job->error() ? job->errorString() : QObject::tr("Done."));
        button->setEnabled(true);
        if (unattended)
            qInfo("%s %d", qPrintable(text->text()), bar->value()), qApp->exit(job->error());
    };
    const auto agrees = [&window, unattended](const Pakmart::Plan& plan) {
        QString question = QObject::tr("Install these packages?\n");
        for (const Pakmart::PlanRow& row : plan.rows)
            question += QLatin1Char('\n') + row.package + QLatin1String(": ") + row.reasonText();
        return unattended || QMessageBox::question(&window, {}, question) == QMessageBox::Yes;
    };
    const auto install = [=, &window](int serial) {
        button->setEnabled(false);
        auto* plan
            = new Pakmart::PrepareJob({ Pakmart::Request::Install, {}, { serial } }, &window);
        QObject::connect(plan, &KJob::result, text, [=, &window] {
            if (plan->error() || !agrees(plan->plan()))
                return end(plan);
            auto* job = new Pakmart::CommitJob(plan->plan(), &window);
            QObject::connect(job, &KJob::percentChanged, bar,
                             [bar](KJob*, auto percent) { bar->setValue(int(percent)); });
            QObject::connect(job, &Pakmart::Job::packageChanged, text, &QLabel::setText);
            QObject::connect(job, &KJob::result, text, end);
            job->start();
        });
        plan->start();
    };
    QObject::connect(button, &QPushButton::clicked, number, [=] { install(number->value()); });
    window.show();
    if (unattended)
        install(unattended);
    return application.exec();
}
