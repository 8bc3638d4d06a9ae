#include "core/qx_z.h"

#include <QtTest>

class test_core : public QObject {
    Q_OBJECT
private slots:
    void placeholder() { QVERIFY(true); }
};

QTEST_MAIN(test_core)
#include "test_core.moc"
