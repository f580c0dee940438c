// SPDX-License-Identifier: LGPL-2.1-or-later
// Printing through Qt's real print dialog, to a PDF file (needs a display: runs under Xvfb).
#include "ChatImagePreview.h"
#include "ImagePreview.h"
#include "orvtrack.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPrintDialog>
#include <QPrinter>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// Picks "Print to File (PDF)" in the dialog that is open, names the file and prints.
void printToPdfWhenTheDialogOpens(const QString &pdf, bool *seen)
{
    QTimer::singleShot(200, [pdf, seen] {
        auto *dialog = qobject_cast<QPrintDialog *>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        *seen = true;
        if (auto *printers = dialog->findChild<QComboBox *>(QStringLiteral("printers"))) {
            for (int i = 0; i < printers->count(); ++i) {
                if (printers->itemText(i).contains(QLatin1String("PDF")))
                    printers->setCurrentIndex(i);
            }
        }
        if (auto *file = dialog->findChild<QLineEdit *>(QStringLiteral("filename")))
            file->setText(pdf);
        dialog->printer()->setOutputFileName(pdf);
        dialog->accept();
    });
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class ImagePrintTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void previewPrintsToAPdfFile()
    {
        QTemporaryDir dir;
        const QString pdf = dir.filePath("picture.pdf");
        QPixmap picture(1600, 1000);
        picture.fill(Qt::darkGreen);
        ImagePreview preview;
        preview.show();
        QVERIFY(QTest::qWaitForWindowExposed(&preview));
        preview.load(picture);
        bool seen = false;
        printToPdfWhenTheDialogOpens(pdf, &seen);
        preview.onPrint();
        QVERIFY(seen);
        const QByteArray bytes = readAll(pdf);
        QVERIFY2(bytes.startsWith("%PDF"), qPrintable(pdf));
        QVERIFY(bytes.contains("/Subtype /Image"));
        // The picture went in at its own resolution.
        QVERIFY(bytes.contains("/Width 1600"));
        QVERIFY(bytes.contains("/Height 1000"));
    }

    void chatPreviewPrintsTurnedAndTracksIt()
    {
        QTemporaryDir dir;
        const QString png = dir.filePath("tall.png");
        QImage image(300, 500, QImage::Format_RGB32);
        image.fill(Qt::blue);
        QVERIFY(image.save(png));
        const QString pdf = dir.filePath("chat.pdf");
        OrvTrack::instance()->clear();
        ChatImagePreview preview;
        preview.show();
        preview.load(png, QString());
        preview.onRotate();
        bool seen = false;
        printToPdfWhenTheDialogOpens(pdf, &seen);
        preview.onPrint();
        QVERIFY(seen);
        const QByteArray bytes = readAll(pdf);
        QVERIFY(bytes.startsWith("%PDF"));
        QVERIFY(bytes.contains("/Width 500")); // turned a quarter
        QVERIFY(bytes.contains("/Height 300"));
        const auto events = OrvTrack::instance()->events(QStringLiteral("Print"));
        QCOMPARE(events.size(), 1);
        QCOMPARE(events.at(0).properties.value("print_sucess").toBool(), true);
    }

    void cancelledDialogPrintsNothing()
    {
        QTemporaryDir dir;
        QPixmap picture(100, 100);
        picture.fill(Qt::red);
        ImagePreview preview;
        preview.show();
        preview.load(picture);
        QTimer::singleShot(200, [] {
            if (auto *dialog = qobject_cast<QPrintDialog *>(QApplication::activeModalWidget()))
                dialog->reject();
        });
        preview.onPrint();
        QVERIFY(QDir(dir.path()).entryList(QDir::Files).isEmpty());
    }
};

QTEST_MAIN(ImagePrintTest)
#include "tst_imageprint.moc"
