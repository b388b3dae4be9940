#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "python/PyRef.h"
#include "python/Python.h"

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
    class Carrier(Exception):
        value = 'carried'
    errors.BaseError, errors.RepoError, errors.Carrier = BaseError, RepoError, Carrier
    top.Errors = errors
    class Holder:
        attr = 5
        join = lambda self, *parts: '+'.join(str(p) for p in parts)
    top.holder = Holder()
    top.table = {'inner': {'leaf': 42}}
    top.echo = lambda *args: args
    top.notCallable = 3
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

QString textOf(PyObject* newReference)
{
    return text(PyRef::steal(newReference).get());
}

// What the interpreter printed on stderr (the walkback) while `call` ran.
template <typename Call>
QString stderrOf(Python* python, Call call)
{
    python->py("import io, sys\n_savedStderr = sys.stderr\nsys.stderr = io.StringIO()");
    call();
    PyRef printed = PyRef::steal(python->pyr("sys.stderr.getvalue()"));
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
        QVERIFY(!Python::initialized);
        QVERIFY(!Python::main_dict);
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
        QVERIFY(dict);
        QVERIFY(python->initialize());
        {
            // Finds the interpreter started and must not end it.
            RecordingPython other;
            QVERIFY(other.initialize());
        }
        QVERIFY(Py_IsInitialized());
        QCOMPARE(Python::main_dict, dict);
        QVERIFY(python->errors.isEmpty());
    }

    void lookup_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<bool>("quiet");
        QTest::addColumn<QByteArray>("sameAs"); // an expression for the expected object
        QTest::addColumn<QString>("missing");   // the component a loud failure names
        auto row = [](const char* tag, const char* name, bool quiet, const char* sameAs,
                      const char* missing) {
            QTest::newRow(tag) << QByteArray(name) << quiet << QByteArray(sameAs)
                               << QString(missing);
        };
        row("module, module, entry", "orvotest.Errors.BaseError", false,
            "__import__('orvotest').Errors.BaseError", "");
        row("dictionaries in a module", "orvotest.table.inner.leaf", false, "42", "");
        row("dictionary in __main__", "settings.depth", false, "settings['depth']", "");
        row("module alone", "orvotest", false, "__import__('orvotest')", "");
        row("quiet, last missing", "orvotest.Errors.Missing", true, "", "");
        row("quiet, middle missing", "orvotest.table.nokey.leaf", true, "", "");
        row("loud, nowhere", "noSuchThingAnywhere.x", false, "", "noSuchThingAnywhere");
        row("loud, last missing", "orvotest.Errors.Missing", false, "", "Missing");
        row("loud, middle missing", "orvotest.table.nokey.leaf", false, "", "nokey");
        // An instance is neither a module nor a dictionary: no attribute access.
        row("instance attribute", "orvotest.holder.attr", false, "", "attr");
    }

    void lookup()
    {
        QFETCH(QByteArray, name);
        QFETCH(bool, quiet);
        QFETCH(QByteArray, sameAs);
        QFETCH(QString, missing);
        // The modifiable form, which splits the name in place and must put it back.
        QByteArray buffer = name;
        PyObject* found = python->pyLookup(buffer.data(), quiet);
        QCOMPARE(buffer, name);
        QVERIFY(!PyErr_Occurred());
        QCOMPARE(python->errors, missing.isEmpty() ? QStringList()
                 : QStringList{QStringLiteral("Internal error: %1 not found\n").arg(missing)});
        if (sameAs.isEmpty()) {
            QVERIFY(!found);
            return;
        }
        PyRef expected = PyRef::steal(python->pyr(sameAs.constData()));
        QVERIFY(found && expected);
        QVERIFY2(PyObject_RichCompareBool(found, expected.get(), Py_EQ) == 1,
                 qPrintable(text(found)));
    }

    void valueAndAssign()
    {
        QCOMPARE(text(python->pyValue("orvotest", "table")),
                 QStringLiteral("{'inner': {'leaf': 42}}"));
        QCOMPARE(text(python->pyValue("orvotest.table.inner", "leaf")), QStringLiteral("42"));
        QVERIFY(!python->pyValue("orvotest", "absent"));
        QVERIFY(!python->pyValue("orvotest.table", "absent"));
        QVERIFY(python->errors.isEmpty());
        QVERIFY(!PyErr_Occurred());
        QVERIFY(!python->pyValue("noSuchModuleHere", "x"));
        QCOMPARE(python->errors, QStringList{"Internal error: noSuchModuleHere not found\n"});
        python->errors.clear();

        PyRef number = PyRef::steal(PyLong_FromLong(9));
        python->pyAssign("orvotest", "assigned", number.get());
        python->pyAssign("orvotest.table", "added", number.get());
        QCOMPARE(textOf(python->pyr("(__import__('orvotest').assigned, "
                                    "__import__('orvotest').table['added'])")),
                 QStringLiteral("(9, 9)"));
        python->pyAssign("orvotest.table", "nothing", nullptr);
        QCOMPARE(python->errors,
                 QStringList{"Internal error: cannot assign orvotest.table.nothing\n"});
    }

    void calls()
    {
        PyObject* inner = python->pyLookup("orvotest.table.inner", false);
        PyRef five = PyRef::steal(PyLong_FromLong(5));
        QCOMPARE(textOf(python->pyCall("orvotest.echo", "()")), QStringLiteral("()"));
        QCOMPARE(textOf(python->pyCall("orvotest.echo", "(s)", "abc")), QStringLiteral("('abc',)"));
        QCOMPARE(textOf(python->pyCall("orvotest.echo", "(O,O)", five.get(), inner)),
                 QStringLiteral("(5, {'leaf': 42})"));
        // The overload for modifiable texts.
        QByteArray name("orvotest.echo"), format("(i,s)");
        QCOMPARE(textOf(python->pyCall(name.data(), format.data(), 3, "x")), QStringLiteral("(3, 'x')"));

        PyObject* holder = python->pyLookup("orvotest.holder", false);
        QCOMPARE(textOf(python->pyMethodCall(holder, "join", "()")), QStringLiteral("''"));
        QCOMPARE(textOf(python->pyMethodCall(holder, "join", "(O,O)", five.get(), five.get())),
                 QStringLiteral("'5+5'"));
        QVERIFY(python->errors.isEmpty());
    }

    void callFailures_data()
    {
        QTest::addColumn<QByteArray>("function"); // empty: a method of the holder
        QTest::addColumn<QByteArray>("method");   // empty: with a null self
        QTest::addColumn<QStringList>("errors");
        auto row = [](const char* tag, const char* function, const char* method,
                      const QStringList& errors) {
            QTest::newRow(tag) << QByteArray(function) << QByteArray(method) << errors;
        };
        row("function not found", "orvotest.nothing", "",
            {"Internal error: nothing not found\n",
             "Internal error: orvotest.nothing not found\n"});
        row("function not callable", "orvotest.notCallable", "",
            {"Internal error: orvotest.notCallable not callable\n"});
        row("null self", "", "", {"Internal error: method join call attemped with NULL self\n"});
        row("method not found", "", "absent", {"Internal error: method absent not found\n"});
        row("method not callable", "", "attr", {"Internal error: method attr not callable\n"});
    }

    void callFailures()
    {
        QFETCH(QByteArray, function);
        QFETCH(QByteArray, method);
        QFETCH(QStringList, errors);
        PyObject* holder = method.isEmpty() ? nullptr : python->pyLookup("orvotest.holder", false);
        const char* called = holder ? method.constData() : "join";
        PyRef result = PyRef::steal(!function.isEmpty()
                                        ? python->pyCall(function.constData(), "()")
                                        : python->pyMethodCall(holder, called, "()"));
        QVERIFY(!result);
        QCOMPARE(python->errors, errors);
        QCOMPARE(python->errorCount, 0);
        QVERIFY(!PyErr_Occurred());
    }

    void expectedExceptions()
    {
        auto fail = [this](const char* kind) {
            return PyRef::steal(python->pyCall("orvotest.fail", "(s,s)", kind, "boom"));
        };
        python->pyExceptStart();
        python->pyExceptExpect(PyExc_KeyError);
        python->pyExceptExpect(baseError);
        // A subclass of an expected type is expected, and stays pending.
        PyRef result = fail("RepoError");
        QVERIFY(!result);
        QCOMPARE(python->expectedCount, 1);
        QVERIFY(python->errors.isEmpty());
        QVERIFY(python->pyExceptMatches(result.get(), baseError));
        QVERIFY(!python->pyExceptMatches(result.get(), PyExc_KeyError));
        QVERIFY(!python->pyExceptMatches(Py_None, baseError));
        QCOMPARE(textOf(python->pyExceptValue()), QStringLiteral("RepoError('boom')"));
        QCOMPARE(textOf(python->pyExceptValuef()), QStringLiteral("'boom'"));
        QVERIFY(PyErr_Occurred());
        python->pyExceptClear();
        QVERIFY(!PyErr_Occurred());

        // An exception carrying a value of its own shows that value.
        python->pyExceptStart();
        python->pyExceptExpect(PyExc_Exception);
        result = fail("Carrier");
        QCOMPARE(textOf(python->pyExceptValuef()), QStringLiteral("'carried'"));
        python->pyExceptClear();

        // The bracket is closed: the same failure is now an error.
        const QString shown = stderrOf(python, [&] { result = fail("RepoError"); });
        QCOMPARE(python->errorCount, 1);
        QCOMPARE(python->errors, QStringList{kWalkback});
        QVERIFY(!PyErr_Occurred());
        QVERIFY2(shown.startsWith("Traceback") && shown.contains("RepoError: boom"),
                 qPrintable(shown));

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
        QCOMPARE(python->expectedCount, 3);
        python->pyExceptClear();
        result = fail("KeyError");
        QCOMPARE(python->expectedCount, 4);
        python->pyExceptClear();
        QVERIFY(!PyErr_Occurred());
    }

    void errorReports()
    {
        // SystemExit must be reported like the rest, not end the process.
        QString shown = stderrOf(python, [this] { python->py("raise SystemExit(3)"); });
        QVERIFY2(shown.contains("SystemExit"), qPrintable(shown));
        shown = stderrOf(python, [this] {
            QVERIFY(!PyRef::steal(python->pyr("undefinedName + 1")));
        });
        QVERIFY2(shown.contains("NameError"), qPrintable(shown));
        QCOMPARE(python->errorCount, 2);
        QVERIFY(!PyErr_Occurred());

        // The statement buffer holds 10240 characters including the terminator.
        const QByteArray longText(10239, ' ');
        python->pyf("%s", longText.constData());
        python->pyf("%s ", longText.constData());
        QCOMPARE(python->errors, QStringList({kWalkback, kWalkback,
                                              "Internal error: python statement too long\n"}));
    }

    void secondThread()
    {
        QString called;
        bool heldInside = false, heldAfterRelease = true, heldAfterEnsure = false;
        {
            Python::PyThreadStateWrapper unlocked;
            QVERIFY(!PyGILState_Check());
            std::thread([&] {
                Python::PyGILStateWrapper lock(true);
                heldInside = PyGILState_Check();
                called = textOf(python->pyCall("orvotest.echo", "(s)", "worker"));
                lock.release();
                heldAfterRelease = PyGILState_Check();
                lock.ensure();
                heldAfterEnsure = PyGILState_Check();
            }).join();
            unlocked.restore();
            QVERIFY(PyGILState_Check());
            unlocked.save();
        }
        QVERIFY(PyGILState_Check());
        QVERIFY(heldInside && !heldAfterRelease && heldAfterEnsure);
        QCOMPARE(called, QStringLiteral("('worker',)"));
        QVERIFY(python->errors.isEmpty());
    }

private:
    RecordingPython* python = nullptr;
    PyObject* baseError = nullptr; // borrowed from the fixture module
};

QTEST_GUILESS_MAIN(TestPython)
#include "tst_python.moc"
