#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "python/PyRef.h"
#include "python/Python.h"

#include <QTemporaryDir>
#include <QtTest>

#include <thread>

namespace {

const QString kWalkback = QStringLiteral(
    "Internal error: python exception occurred from C code.\n"
    "When reporting this issue, please include the contents of the\n"
    "Log window, which should contain a walkback.");

class RecordingPython final : public Python
{
public:
    void error(const char* message) override { errors << QString::fromUtf8(message); }
    void warning(const char*) override {}
    void exceptionExpected() override { ++expectedCount; }
    void exceptionError() override { ++errorCount; Python::exceptionError(); }

    QStringList errors;
    int expectedCount = 0;
    int errorCount = 0;
};

// Reachable through sys.modules only (not through __main__), plus a dictionary in __main__.
const char* const kFixture = R"(
def _build():
    import sys, types
    top = types.ModuleType('orvotest')
    errors = types.ModuleType('orvotest.Errors')
    class BaseError(Exception): pass
    class RepoError(BaseError): pass
    errors.BaseError, errors.RepoError = BaseError, RepoError
    top.Errors = errors
    class Holder:
        attr = 5
        join = lambda self, *parts: '+'.join(str(p) for p in parts)
    top.holder = Holder()
    top.table = {'inner': {'leaf': 42}}
    top.echo = lambda *args: args
    def fail(kind, text):
        raise (getattr(errors, kind, None) or getattr(__builtins__, kind))(text)
    top.fail = fail
    sys.modules['orvotest'] = top
    sys.modules['orvotest.Errors'] = errors
_build()
del _build
settings = {'depth': {'x': 1}}
)";

QString text(PyObject* object)
{
    PyRef repr = PyRef::steal(object ? PyObject_Repr(object) : nullptr);
    return repr ? QString::fromUtf8(PyUnicode_AsUTF8(repr.get())) : QStringLiteral("<null>");
}

QString textOf(const PyRef& value)
{
    return text(value.get());
}

// What the interpreter printed on stderr (the walkback) while `call` ran.
template <typename Call>
QString stderrOf(Python* python, Call call)
{
    python->py("import io, sys\n_savedStderr = sys.stderr\nsys.stderr = io.StringIO()");
    call();
    PyRef printed = python->pyr("sys.stderr.getvalue()");
    python->py("sys.stderr = _savedStderr");
    return QString::fromUtf8(python->pyString(printed.get()));
}

} // namespace

class TestPython : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // A module on PYTHONPATH must stay out of reach; one on ORVOPYTHONPATH is found.
        QVERIFY(userPath_.isValid() && orvoPath_.isValid());
        for (const auto& [dir, module] : { std::pair { &userPath_, "orvo_user_module" },
                                           std::pair { &orvoPath_, "orvo_extra_module" } }) {
            QFile file(dir->filePath(QString::fromLatin1(module) + ".py"));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("value = 1\n");
        }
        qputenv("PYTHONPATH", QFile::encodeName(userPath_.path()));
        qputenv("PYTHONHOME", QFile::encodeName(userPath_.path()));
        qputenv("ORVOPYTHONPATH", QFile::encodeName(orvoPath_.path()) + ":");
        python = new RecordingPython;
        QVERIFY(python->initialize());
        QVERIFY(PyGILState_Check());
        python->py(kFixture);
        baseError = python->pyLookup("orvotest.Errors.BaseError", false);
        QVERIFY(baseError);
    }

    void cleanupTestCase()
    {
        delete python;
        QVERIFY(!Py_IsInitialized());
    }

    void init()
    {
        python->errors.clear();
        python->expectedCount = python->errorCount = 0;
        QVERIFY(!PyErr_Occurred());
    }

    void secondInitialize()
    {
        PyObject* dict = Python::main_dict;
        QVERIFY(python->initialize());
        {
            // Finds the interpreter started and must not end it.
            RecordingPython other;
            QVERIFY(other.initialize());
        }
        QVERIFY(Py_IsInitialized());
        QCOMPARE(Python::main_dict, dict);
    }

    // The system's interpreter with its own modules, whatever the environment says.
    void environment_data()
    {
        QTest::addColumn<QByteArray>("expression");
        QTest::addColumn<QString>("expected");
        QTest::newRow("PYTHONPATH ignored") << QByteArray("importlib.util.find_spec('orvo_user_module') is None")
                                            << "True";
        QTest::newRow("ORVOPYTHONPATH used") << QByteArray("importlib.import_module('orvo_extra_module').value")
                                             << "1";
        QTest::newRow("executable") << QByteArray("sys.executable") << "'/usr/bin/python3'";
        QTest::newRow("prefix") << QByteArray("sys.prefix == sys.base_prefix == '/usr'") << "True";
        QTest::newRow("no user site") << QByteArray("site.ENABLE_USER_SITE") << "False";
    }

    void environment()
    {
        QFETCH(QByteArray, expression);
        python->py("import importlib, importlib.util, site, sys");
        QTEST(textOf(python->pyr(expression.constData())), "expected");
        QVERIFY(python->errors.isEmpty());
    }

    void lookup_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QByteArray>("sameAs"); // an expression for the expected object
        QTest::addColumn<QString>("missing");   // the component a loud failure names
        auto row = [](const char* tag, const char* name, const char* sameAs, const char* missing) {
            QTest::newRow(tag) << QByteArray(name) << QByteArray(sameAs) << QString(missing);
        };
        row("module, module, entry", "orvotest.Errors.BaseError",
            "__import__('orvotest').Errors.BaseError", "");
        row("dictionaries in a module", "orvotest.table.inner.leaf", "42", "");
        row("dictionary in __main__", "settings.depth", "settings['depth']", "");
        row("middle missing", "orvotest.table.nokey.leaf", "", "nokey");
        // An instance is neither a module nor a dictionary: no attribute access.
        row("instance attribute", "orvotest.holder.attr", "", "attr");
    }

    void lookup()
    {
        QFETCH(QByteArray, name);
        QFETCH(QByteArray, sameAs);
        QFETCH(QString, missing);
        // The modifiable form, which splits the name in place and must put it back.
        QByteArray buffer = name;
        PyObject* found = python->pyLookup(buffer.data(), false);
        QCOMPARE(buffer, name);
        QVERIFY(!PyErr_Occurred());
        QCOMPARE(python->errors, missing.isEmpty() ? QStringList()
                 : QStringList{QStringLiteral("Internal error: %1 not found\n").arg(missing)});
        if (sameAs.isEmpty()) {
            QVERIFY(!found);
            return;
        }
        PyRef expected = python->pyr(sameAs.constData());
        QVERIFY(found && expected);
        QVERIFY2(PyObject_RichCompareBool(found, expected.get(), Py_EQ) == 1,
                 qPrintable(text(found)));
    }

    void valuesAndCalls()
    {
        QCOMPARE(text(python->pyValue("orvotest.table.inner", "leaf")), QStringLiteral("42"));
        QCOMPARE(textOf(python->pyCall("orvotest.echo", "(i,s)", 5, "abc")),
                 QStringLiteral("(5, 'abc')"));
        PyObject* holder = python->pyLookup("orvotest.holder", false);
        QCOMPARE(textOf(python->pyMethodCall(holder, "join", "(i,i)", 5, 5)),
                 QStringLiteral("'5+5'"));

        PyRef number = PyRef::steal(PyLong_FromLong(9));
        python->pyAssign("orvotest", "assigned", number.get());
        python->pyAssign("orvotest.table", "added", number.get());
        QCOMPARE(textOf(python->pyr("(__import__('orvotest').assigned, "
                                    "__import__('orvotest').table['added'])")),
                 QStringLiteral("(9, 9)"));
        QVERIFY(python->errors.isEmpty());
        python->pyAssign("orvotest.table", "nothing", nullptr);
        QCOMPARE(python->errors,
                 QStringList{"Internal error: cannot assign orvotest.table.nothing\n"});
    }

    void callFailures()
    {
        PyObject* holder = python->pyLookup("orvotest.holder", false);
        QVERIFY(!python->pyCall("orvotest.nothing", "()"));
        QVERIFY(!python->pyMethodCall(nullptr, "join", "()"));
        QVERIFY(!python->pyMethodCall(holder, "attr", "()"));
        QCOMPARE(python->errors,
                 QStringList({"Internal error: nothing not found\n",
                              "Internal error: orvotest.nothing not found\n",
                              "Internal error: method join call attemped with NULL self\n",
                              "Internal error: method attr not callable\n"}));
        QVERIFY(!PyErr_Occurred());
    }

    void expectedExceptions()
    {
        auto fail = [this](const char* kind) {
            return python->pyCall("orvotest.fail", "(s,s)", kind, "boom");
        };
        python->pyExceptStart();
        python->pyExceptExpect(PyExc_KeyError);
        python->pyExceptExpect(baseError);
        // A subclass of an expected type is expected, and stays pending.
        PyRef result = fail("RepoError");
        QCOMPARE(python->expectedCount, 1);
        QVERIFY(python->pyExceptMatches(result.get(), baseError));
        QCOMPARE(textOf(python->pyExceptValuef()), QStringLiteral("'boom'"));
        python->pyExceptClear();
        QVERIFY(!PyErr_Occurred());

        // The bracket is closed: the same failure is now an error.
        const QString shown = stderrOf(python, [&] { result = fail("RepoError"); });
        QCOMPARE(python->errors, QStringList{kWalkback});
        QVERIFY2(shown.contains("RepoError: boom"), qPrintable(shown));

        // Only the innermost bracket counts; a null type is reported and skipped.
        python->errors.clear();
        python->pyExceptStart();
        python->pyExceptExpect(PyExc_KeyError);
        python->pyExceptStart();
        python->pyExceptExpect(nullptr);
        python->pyExceptExpect(PyExc_ValueError);
        stderrOf(python, [&] { result = fail("KeyError"); });
        QCOMPARE(python->errorCount, 2);
        QCOMPARE(python->errors.first(),
                 QStringLiteral("Internal error: pyExceptExpect called with NULL\n"));
        result = fail("ValueError");
        QCOMPARE(python->expectedCount, 2);
        python->pyExceptClear();
        python->pyExceptClear();
    }

    void errorReports()
    {
        // SystemExit must be reported like the rest, not end the process.
        QString shown = stderrOf(python, [this] { python->py("raise SystemExit(3)"); });
        QVERIFY2(shown.contains("SystemExit"), qPrintable(shown));
        QCOMPARE(python->errorCount, 1);

        // The statement buffer holds 10240 characters including the terminator.
        const QByteArray longText(10239, ' ');
        python->pyf("%s", longText.constData());
        python->pyf("%s ", longText.constData());
        QCOMPARE(python->errors,
                 QStringList({kWalkback, "Internal error: python statement too long\n"}));
    }

    void secondThread()
    {
        QString called;
        {
            Python::PyThreadStateWrapper unlocked;
            QVERIFY(!PyGILState_Check());
            std::thread([&] {
                Python::PyGILStateWrapper lock(true);
                called = textOf(python->pyCall("orvotest.echo", "(s)", "worker"));
            }).join();
        }
        QVERIFY(PyGILState_Check());
        QCOMPARE(called, QStringLiteral("('worker',)"));
    }

private:
    QTemporaryDir userPath_;
    QTemporaryDir orvoPath_;
    RecordingPython* python = nullptr;
    PyObject* baseError = nullptr; // borrowed from the fixture module
};

QTEST_GUILESS_MAIN(TestPython)
#include "tst_python.moc"
