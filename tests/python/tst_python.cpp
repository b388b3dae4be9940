#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "python/PyRef.h"
#include "python/Python.h"

#include <QtTest>

#include <csignal>
#include <thread>

namespace {

const char* const kWalkback =
    "Internal error: python exception occurred from C code.\n"
    "When reporting this issue, please include the contents of the\n"
    "Log window, which should contain a walkback.";

// Records what the interpreter wrapper reports instead of showing it.
class RecordingPython final : public Python
{
public:
    void error(const char* message) override { errors << QString::fromUtf8(message); }
    void warning(const char* message) override { warnings << QString::fromUtf8(message); }
    void exceptionExpected() override
    {
        ++expectedCount;
        Python::exceptionExpected();
    }
    void exceptionError() override
    {
        ++errorCount;
        Python::exceptionError();
    }
    void clearRecords()
    {
        errors.clear();
        warnings.clear();
        expectedCount = 0;
        errorCount = 0;
    }

    QStringList errors;
    QStringList warnings;
    int expectedCount = 0;
    int errorCount = 0;
};

// A small package-like module tree, reachable through sys.modules only (not
// through __main__), plus a dictionary in __main__.
const char* const kFixture = R"(
def _build():
    import sys, types
    top = types.ModuleType('orvotest')
    errors = types.ModuleType('orvotest.Errors')
    class BaseError(Exception): pass
    class RepoError(BaseError): pass
    class Carrier(Exception):
        def __init__(self, text, value):
            Exception.__init__(self, text)
            self.value = value
    errors.BaseError = BaseError
    errors.RepoError = RepoError
    errors.Carrier = Carrier
    top.Errors = errors
    class Holder:
        attr = 5
        def join(self, *parts):
            return '+'.join(str(p) for p in parts)
    top.holder = Holder()
    top.table = {'inner': {'leaf': 42}}
    top.echo = lambda *args: args
    top.notCallable = 3
    def fail(kind, text, value=None):
        if kind == 'carrier':
            raise Carrier(text, value)
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
    if (!repr) {
        PyErr_Clear();
        return QStringLiteral("<null>");
    }
    return QString::fromUtf8(PyUnicode_AsUTF8(repr.get()));
}

bool pending()
{
    return PyErr_Occurred() != nullptr;
}

} // namespace

class TestPython : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void secondInitialize();
    void pyRef();
    void runAndEvaluate();
    void failingStatements_data();
    void failingStatements();
    void lookup_data();
    void lookup();
    void lookupRestoresName();
    void valueAndAssign();
    void calls();
    void callFailures_data();
    void callFailures();
    void expectedExceptions();
    void innermostBracketOnly();
    void exceptValuef_data();
    void exceptValuef();
    void pyString();
    void interruptHandler();
    void secondThread();

private:
    RecordingPython* python = nullptr;
    PyObject* baseError = nullptr; // borrowed from the fixture module
};

void TestPython::initTestCase()
{
    QVERIFY(!Python::initialized);
    // The test library catches SIGINT itself; the interpreter installs its own
    // handler only over the default disposition, as in the program.
    std::signal(SIGINT, SIG_DFL);
    python = new RecordingPython;
    QVERIFY(python->initialize());
    QVERIFY(Python::initialized);
    QVERIFY(Py_IsInitialized());
    QVERIFY(Python::main_dict);
    QVERIFY(python->errors.isEmpty());
    // The calling thread holds the lock once initialised.
    QVERIFY(PyGILState_Check());

    python->py(kFixture);
    QVERIFY(python->errors.isEmpty());
    baseError = python->pyLookup("orvotest.Errors.BaseError", false);
    QVERIFY(baseError);
}

void TestPython::cleanupTestCase()
{
    delete python;
    python = nullptr;
    QVERIFY(!Python::initialized);
    QVERIFY(!Python::main_dict);
    QVERIFY(!Py_IsInitialized());
}

void TestPython::init()
{
    python->clearRecords();
    QVERIFY(!pending());
}

void TestPython::cleanup()
{
    // Keep one failure from cascading into the following tests.
    if (QTest::currentTestFailed())
        PyErr_Clear();
}

void TestPython::secondInitialize()
{
    PyObject* dict = Python::main_dict;
    QVERIFY(python->initialize());
    QCOMPARE(Python::main_dict, dict);

    {
        // Another object finds the interpreter started and must not end it.
        RecordingPython other;
        QVERIFY(other.initialize());
        QVERIFY(other.errors.isEmpty());
    }
    QVERIFY(Py_IsInitialized());
    QVERIFY(Python::initialized);
    QCOMPARE(python->pyVersion(), long(PY_VERSION_HEX));
    QVERIFY(python->errors.isEmpty());
}

void TestPython::pyRef()
{
    PyObject* list = python->pyr("[]");
    QVERIFY(list);
    const Py_ssize_t base = Py_REFCNT(list);
    {
        PyRef owner = PyRef::steal(list);
        QCOMPARE(owner.get(), list);
        {
            PyRef second = PyRef::borrow(list);
            QCOMPARE(Py_REFCNT(list), base + 1);
            PyRef moved = std::move(second);
            QVERIFY(!second);
            QCOMPARE(Py_REFCNT(list), base + 1);
            PyRef third = moved.copy();
            QCOMPARE(Py_REFCNT(list), base + 2);
        }
        QCOMPARE(Py_REFCNT(list), base);

        PyObject* released = owner.release();
        QVERIFY(!owner);
        QCOMPARE(Py_REFCNT(list), base);
        owner.reset(released);
        QCOMPARE(Py_REFCNT(list), base);
        Py_INCREF(list); // kept for the check after the owner has gone
    }
    QCOMPARE(Py_REFCNT(list), base);
    PyRef assigned = PyRef::steal(list);
    assigned = PyRef::steal(python->pyr("()"));
    QVERIFY(PyTuple_Check(assigned.get()));
    assigned.reset();
    QVERIFY(!assigned);
}

void TestPython::runAndEvaluate()
{
    python->py("ranValue = 6 * 7");
    PyRef value = PyRef::steal(python->pyr("ranValue"));
    QCOMPARE(text(value.get()), QStringLiteral("42"));

    python->pyf("formatted = '%s-%d'", "abc", 7);
    value = PyRef::steal(python->pyrf("formatted + '%c'", 'z'));
    QCOMPARE(text(value.get()), QStringLiteral("'abc-7z'"));

    // The statement buffer holds 10240 characters including the terminator.
    QByteArray longText(10239, ' ');
    python->pyf("%s", longText.constData());
    QVERIFY(python->errors.isEmpty());
    longText.append(' ');
    python->pyf("%s", longText.constData());
    QCOMPARE(python->errors.size(), 1);
    QVERIFY(python->errors.first().startsWith(QLatin1String("Internal error: ")));
    python->clearRecords();

    PyRef globalValue = PyRef::steal(PyLong_FromLong(17));
    QCOMPARE(python->pyAssignGlobal("assignedGlobal", globalValue.get()), 0);
    value = PyRef::steal(python->pyr("assignedGlobal + 1"));
    QCOMPARE(text(value.get()), QStringLiteral("18"));
    QVERIFY(python->errors.isEmpty());
    QCOMPARE(python->pyAssignGlobal("assignedGlobal", nullptr), -1);
    QCOMPARE(python->errors,
             QStringList{QStringLiteral("Internal error: cannot assign __main__.assignedGlobal\n")});
}

void TestPython::failingStatements_data()
{
    QTest::addColumn<QByteArray>("code");
    QTest::addColumn<bool>("expression");
    QTest::addColumn<QString>("printed");

    QTest::newRow("zero division") << QByteArray("x = 1 / 0") << false
                                   << QStringLiteral("ZeroDivisionError");
    QTest::newRow("syntax") << QByteArray("x = = 1") << false << QStringLiteral("SyntaxError");
    // Must be reported, not end the process.
    QTest::newRow("system exit") << QByteArray("raise SystemExit(3)") << false
                                 << QStringLiteral("SystemExit");
    QTest::newRow("undefined name") << QByteArray("undefinedName + 1") << true
                                    << QStringLiteral("NameError");
}

void TestPython::failingStatements()
{
    QFETCH(QByteArray, code);
    QFETCH(bool, expression);
    QFETCH(QString, printed);

    python->py("import io, sys\n_savedStderr = sys.stderr\nsys.stderr = io.StringIO()");
    if (expression) {
        PyRef result = PyRef::steal(python->pyr(code.constData()));
        QVERIFY(!result);
    } else {
        python->py(code.constData());
    }
    PyRef walkback = PyRef::steal(python->pyr("sys.stderr.getvalue()"));
    python->py("sys.stderr = _savedStderr");

    QCOMPARE(python->errorCount, 1);
    QCOMPARE(python->expectedCount, 0);
    QCOMPARE(python->errors, QStringList{QString::fromUtf8(kWalkback)});
    QVERIFY(!pending());
    const QString shown = QString::fromUtf8(python->pyString(walkback.get()));
    QVERIFY2(shown.contains(printed), qPrintable(shown));
}

void TestPython::lookup_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<bool>("quiet");
    QTest::addColumn<QByteArray>("sameAs"); // an expression for the expected object
    QTest::addColumn<QStringList>("errors");

    const QStringList none;
    QTest::newRow("module, module, entry")
        << QByteArray("orvotest.Errors.BaseError") << false
        << QByteArray("__import__('orvotest').Errors.BaseError") << none;
    QTest::newRow("dictionaries in a module")
        << QByteArray("orvotest.table.inner.leaf") << false << QByteArray("42") << none;
    QTest::newRow("dictionary in __main__")
        << QByteArray("settings.depth") << false << QByteArray("settings['depth']") << none;
    QTest::newRow("builtins") << QByteArray("builtins.str") << false << QByteArray("str")
                              << none;
    QTest::newRow("module alone") << QByteArray("orvotest") << false
                                  << QByteArray("__import__('orvotest')") << none;
    QTest::newRow("quiet, nowhere") << QByteArray("noSuchThingAnywhere.x") << true
                                    << QByteArray() << none;
    QTest::newRow("quiet, last missing") << QByteArray("orvotest.Errors.Missing") << true
                                         << QByteArray() << none;
    QTest::newRow("loud, nowhere")
        << QByteArray("noSuchThingAnywhere.x") << false << QByteArray()
        << QStringList{QStringLiteral("Internal error: noSuchThingAnywhere not found\n")};
    QTest::newRow("loud, last missing")
        << QByteArray("orvotest.Errors.Missing") << false << QByteArray()
        << QStringList{QStringLiteral("Internal error: Missing not found\n")};
    QTest::newRow("loud, middle missing")
        << QByteArray("orvotest.table.nokey.leaf") << false << QByteArray()
        << QStringList{QStringLiteral("Internal error: nokey not found\n")};
    // An instance is neither a module nor a dictionary: no attribute access.
    QTest::newRow("instance attribute")
        << QByteArray("orvotest.holder.attr") << false << QByteArray()
        << QStringList{QStringLiteral("Internal error: attr not found\n")};
}

void TestPython::lookup()
{
    QFETCH(QByteArray, name);
    QFETCH(bool, quiet);
    QFETCH(QByteArray, sameAs);
    QFETCH(QStringList, errors);

    PyObject* found = python->pyLookup(name.constData(), quiet);
    QVERIFY(!pending());
    QCOMPARE(python->errors, errors);
    if (sameAs.isEmpty()) {
        QVERIFY(!found);
        return;
    }
    QVERIFY(found);
    PyRef expected = PyRef::steal(python->pyr(sameAs.constData()));
    QVERIFY(expected);
    QVERIFY2(PyObject_RichCompareBool(found, expected.get(), Py_EQ) == 1,
             qPrintable(text(found)));
}

void TestPython::lookupRestoresName()
{
    QByteArray found("orvotest.table.inner");
    QVERIFY(python->pyLookup(found.data(), false));
    QCOMPARE(found, QByteArray("orvotest.table.inner"));

    QByteArray missing("orvotest.table.nokey.leaf");
    QVERIFY(!python->pyLookup(missing.data(), true));
    QCOMPARE(missing, QByteArray("orvotest.table.nokey.leaf"));
}

void TestPython::valueAndAssign()
{
    PyObject* table = python->pyValue("orvotest", "table");
    QCOMPARE(text(table), QStringLiteral("{'inner': {'leaf': 42}}"));
    PyObject* leaf = python->pyValue("orvotest.table.inner", "leaf");
    QCOMPARE(text(leaf), QStringLiteral("42"));

    QVERIFY(!python->pyValue("orvotest", "absent"));
    QVERIFY(!python->pyValue("orvotest.table", "absent"));
    QVERIFY(python->errors.isEmpty());
    QVERIFY(!pending());

    QVERIFY(!python->pyValue("noSuchModuleHere", "x"));
    QCOMPARE(python->errors,
             QStringList{QStringLiteral("Internal error: noSuchModuleHere not found\n")});
    python->clearRecords();

    PyRef number = PyRef::steal(PyLong_FromLong(9));
    python->pyAssign("orvotest", "assigned", number.get());
    python->pyAssign("orvotest.table", "added", number.get());
    PyRef check = PyRef::steal(
        python->pyr("(__import__('orvotest').assigned, __import__('orvotest').table['added'])"));
    QCOMPARE(text(check.get()), QStringLiteral("(9, 9)"));
    QVERIFY(python->errors.isEmpty());

    python->pyAssign("orvotest.table", "nothing", nullptr);
    QCOMPARE(python->errors,
             QStringList{QStringLiteral("Internal error: cannot assign orvotest.table.nothing\n")});
}

void TestPython::calls()
{
    PyRef result = PyRef::steal(python->pyCall("orvotest.echo", "()"));
    QCOMPARE(text(result.get()), QStringLiteral("()"));

    result = PyRef::steal(python->pyCall("orvotest.echo", "(s)", "abc"));
    QCOMPARE(text(result.get()), QStringLiteral("('abc',)"));

    PyObject* inner = python->pyLookup("orvotest.table.inner", false);
    result = PyRef::steal(python->pyCall("orvotest.echo", "(O)", inner));
    QCOMPARE(text(result.get()), QStringLiteral("({'leaf': 42},)"));

    PyRef number = PyRef::steal(PyLong_FromLong(5));
    result = PyRef::steal(python->pyCall("orvotest.echo", "(O,O)", number.get(), inner));
    QCOMPARE(text(result.get()), QStringLiteral("(5, {'leaf': 42})"));

    // The modifiable forms.
    QByteArray name("orvotest.echo");
    QByteArray format("(i,s)");
    result = PyRef::steal(python->pyCall(name.data(), format.data(), 3, "x"));
    QCOMPARE(text(result.get()), QStringLiteral("(3, 'x')"));

    PyRef holderObject = PyRef::borrow(python->pyLookup("orvotest.holder", false));
    result = PyRef::steal(python->pyMethodCall(holderObject.get(), "join", "()"));
    QCOMPARE(text(result.get()), QStringLiteral("''"));
    result = PyRef::steal(
        python->pyMethodCall(holderObject.get(), "join", "(O,O)", number.get(), number.get()));
    QCOMPARE(text(result.get()), QStringLiteral("'5+5'"));
    QByteArray method("join");
    result = PyRef::steal(
        python->pyMethodCall(holderObject.get(), method.data(), format.data(), 1, "y"));
    QCOMPARE(text(result.get()), QStringLiteral("'1+y'"));

    QVERIFY(python->errors.isEmpty());
    QCOMPARE(python->errorCount, 0);
}

void TestPython::callFailures_data()
{
    QTest::addColumn<QByteArray>("function");
    QTest::addColumn<bool>("nullSelf");
    QTest::addColumn<QByteArray>("method");
    QTest::addColumn<QStringList>("errors");

    QTest::newRow("function not found")
        << QByteArray("orvotest.nothing") << false << QByteArray()
        << QStringList{QStringLiteral("Internal error: nothing not found\n"),
                       QStringLiteral("Internal error: orvotest.nothing not found\n")};
    QTest::newRow("function not callable")
        << QByteArray("orvotest.notCallable") << false << QByteArray()
        << QStringList{QStringLiteral("Internal error: orvotest.notCallable not callable\n")};
    QTest::newRow("null self")
        << QByteArray() << true << QByteArray("join")
        << QStringList{QStringLiteral("Internal error: method join call attemped with NULL self\n")};
    QTest::newRow("method not found")
        << QByteArray() << false << QByteArray("absent")
        << QStringList{QStringLiteral("Internal error: method absent not found\n")};
    QTest::newRow("method not callable")
        << QByteArray() << false << QByteArray("attr")
        << QStringList{QStringLiteral("Internal error: method attr not callable\n")};
}

void TestPython::callFailures()
{
    QFETCH(QByteArray, function);
    QFETCH(bool, nullSelf);
    QFETCH(QByteArray, method);
    QFETCH(QStringList, errors);

    PyRef result;
    if (!function.isEmpty()) {
        result = PyRef::steal(python->pyCall(function.constData(), "()"));
    } else {
        PyRef holder = PyRef::steal(python->pyr("__import__('orvotest').holder"));
        result = PyRef::steal(
            python->pyMethodCall(nullSelf ? nullptr : holder.get(), method.constData(), "()"));
    }
    QVERIFY(!result);
    QCOMPARE(python->errors, errors);
    QCOMPARE(python->errorCount, 0);
    QVERIFY(!pending());
}

void TestPython::expectedExceptions()
{
    PyObject* keyError = PyExc_KeyError;

    python->pyExceptStart();
    python->pyExceptExpect(keyError);
    python->pyExceptExpect(baseError);
    // A subclass of an expected type is expected.
    PyRef result = PyRef::steal(python->pyCall("orvotest.fail", "(s,s)", "RepoError", "boom"));
    QVERIFY(!result);
    QCOMPARE(python->expectedCount, 1);
    QCOMPARE(python->errorCount, 0);
    QVERIFY(python->errors.isEmpty());
    QVERIFY(pending());

    QVERIFY(python->pyExceptMatches(result.get(), baseError));
    QVERIFY(!python->pyExceptMatches(result.get(), keyError));
    QVERIFY(!python->pyExceptMatches(Py_None, baseError));
    QVERIFY(pending());

    PyRef value = PyRef::steal(python->pyExceptValue());
    QCOMPARE(text(value.get()), QStringLiteral("RepoError('boom')"));
    QVERIFY(pending());
    PyRef printable = PyRef::steal(python->pyExceptValuef());
    QCOMPARE(text(printable.get()), QStringLiteral("'boom'"));
    QVERIFY(pending());

    python->pyExceptClear();
    QVERIFY(!pending());
    QVERIFY(!python->pyExceptValue());
    QVERIFY(!python->pyExceptValuef());

    // The bracket is closed: the same failure is now an error.
    python->py("import io, sys\n_savedStderr = sys.stderr\nsys.stderr = io.StringIO()");
    result = PyRef::steal(python->pyCall("orvotest.fail", "(s,s)", "RepoError", "boom"));
    PyRef walkback = PyRef::steal(python->pyr("sys.stderr.getvalue()"));
    python->py("sys.stderr = _savedStderr");
    QVERIFY(!result);
    QCOMPARE(python->expectedCount, 1);
    QCOMPARE(python->errorCount, 1);
    QCOMPARE(python->errors, QStringList{QString::fromUtf8(kWalkback)});
    QVERIFY(!pending());
    const QString shown = QString::fromUtf8(python->pyString(walkback.get()));
    QVERIFY2(shown.startsWith(QLatin1String("Traceback")), qPrintable(shown));
    QVERIFY2(shown.contains(QLatin1String("RepoError: boom")), qPrintable(shown));

    // A null type is reported but does not break the bracket.
    python->clearRecords();
    python->pyExceptStart();
    python->pyExceptExpect(nullptr);
    python->pyExceptExpect(keyError);
    result = PyRef::steal(python->pyCall("orvotest.fail", "(s,s)", "KeyError", "k"));
    QCOMPARE(python->errors,
             QStringList{QStringLiteral("Internal error: pyExceptExpect called with NULL\n")});
    QCOMPARE(python->expectedCount, 1);
    python->pyExceptClear();
    QVERIFY(!pending());
}

void TestPython::innermostBracketOnly()
{
    python->pyExceptStart();
    python->pyExceptExpect(PyExc_KeyError);
    python->pyExceptStart();
    python->pyExceptExpect(PyExc_ValueError);

    python->py("import io, sys\n_savedStderr = sys.stderr\nsys.stderr = io.StringIO()");
    PyRef result = PyRef::steal(python->pyCall("orvotest.fail", "(s,s)", "KeyError", "outer"));
    QCOMPARE(python->errorCount, 1);
    QCOMPARE(python->expectedCount, 0);
    python->pyExceptClear();

    result = PyRef::steal(python->pyCall("orvotest.fail", "(s,s)", "KeyError", "outer"));
    QCOMPARE(python->errorCount, 1);
    QCOMPARE(python->expectedCount, 1);
    python->pyExceptClear();
    python->py("sys.stderr = _savedStderr");
    QVERIFY(!pending());
}

void TestPython::exceptValuef_data()
{
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<QString>("printable");

    QTest::newRow("plain exception") << QByteArray("KeyError") << QStringLiteral("\"'text'\"");
    QTest::newRow("own value attribute") << QByteArray("carrier") << QStringLiteral("'carried'");
    QTest::newRow("yum-like error") << QByteArray("BaseError") << QStringLiteral("'text'");
}

void TestPython::exceptValuef()
{
    QFETCH(QByteArray, kind);
    QFETCH(QString, printable);

    python->pyExceptStart();
    python->pyExceptExpect(PyExc_Exception);
    PyRef result = PyRef::steal(
        python->pyCall("orvotest.fail", "(s,s,s)", kind.constData(), "text", "carried"));
    QVERIFY(!result);
    QVERIFY(pending());
    PyRef value = PyRef::steal(python->pyExceptValuef());
    QCOMPARE(text(value.get()), printable);
    QVERIFY(pending());
    python->pyExceptClear();
    QVERIFY(python->errors.isEmpty());
}

void TestPython::pyString()
{
    QVERIFY(!python->pyString(Py_None));
    QVERIFY(python->errors.isEmpty());

    QVERIFY(!python->pyString(nullptr));
    QCOMPARE(python->errors,
             QStringList{QStringLiteral("Internal error: pyString passed NULL python object\n")});
    python->clearRecords();

    PyRef unicode = PyRef::steal(python->pyr("'gr\\u00fc\\u00dfe'"));
    QCOMPARE(QString::fromUtf8(python->pyString(unicode.get())),
             QString::fromUtf8("gr\xc3\xbc\xc3\x9f" "e"));
    PyRef bytes = PyRef::steal(python->pyr("b'raw'"));
    QCOMPARE(QByteArray(python->pyString(bytes.get())), QByteArray("raw"));
    QVERIFY(python->errors.isEmpty());

    python->py("import io, sys\n_savedStderr = sys.stderr\nsys.stderr = io.StringIO()");
    PyRef number = PyRef::steal(PyLong_FromLong(1));
    QVERIFY(!python->pyString(number.get()));
    python->py("sys.stderr = _savedStderr");
    QCOMPARE(python->errorCount, 1);
    QVERIFY(!pending());
}

void TestPython::interruptHandler()
{
    PyRef kept = PyRef::steal(python->pyr("defaultSigIntSigaction is signal.default_int_handler"));
    QCOMPARE(kept.get(), Py_True);

    auto current = [] {
        struct sigaction action;
        sigaction(SIGINT, nullptr, &action);
        return action.sa_handler;
    };

    python->setEnablePythonSIGINTHandler(false);
    QVERIFY(current() == SIG_DFL);
    python->setEnablePythonSIGINTHandler(true);
    QVERIFY(current() != SIG_DFL && current() != SIG_IGN);

    // Python's handler turns the signal into KeyboardInterrupt at the next code.
    python->pyExceptStart();
    python->pyExceptExpect(PyExc_KeyboardInterrupt);
    std::raise(SIGINT);
    python->py("for i in range(3): pass");
    QCOMPARE(python->expectedCount, 1);
    QVERIFY(PyErr_ExceptionMatches(PyExc_KeyboardInterrupt));
    python->pyExceptClear();

    // One still waiting when the handler is switched off surfaces there.
    python->pyExceptStart();
    python->pyExceptExpect(PyExc_KeyboardInterrupt);
    std::raise(SIGINT);
    python->setEnablePythonSIGINTHandler(false);
    QCOMPARE(python->expectedCount, 2);
    QVERIFY(PyErr_ExceptionMatches(PyExc_KeyboardInterrupt));
    python->pyExceptClear();
    QVERIFY(current() == SIG_DFL);

    // Switching works from a thread other than the one that started Python.
    {
        Python::PyThreadStateWrapper unlocked;
        std::thread worker([this] {
            Python::PyGILStateWrapper lock(true);
            python->setEnablePythonSIGINTHandler(true);
        });
        worker.join();
    }
    QVERIFY(current() != SIG_DFL);
    QVERIFY(python->errors.isEmpty());
    python->setEnablePythonSIGINTHandler(false);
}

void TestPython::secondThread()
{
    QString called;
    bool heldInside = false;
    bool heldAfterRelease = true;
    bool heldAfterEnsure = false;
    bool heldByInertWrapper = true;
    {
        Python::PyThreadStateWrapper unlocked;
        QVERIFY(!PyGILState_Check());
        std::thread worker([&] {
            {
                Python::PyGILStateWrapper inert(false);
                heldByInertWrapper = PyGILState_Check();
            }
            Python::PyGILStateWrapper lock(true);
            heldInside = PyGILState_Check();
            PyRef result = PyRef::steal(python->pyCall("orvotest.echo", "(s)", "worker"));
            called = text(result.get());
            result.reset();
            lock.release();
            heldAfterRelease = PyGILState_Check();
            lock.ensure();
            heldAfterEnsure = PyGILState_Check();
        });
        worker.join();

        // Given up and taken back inside the same scope.
        unlocked.restore();
        QVERIFY(PyGILState_Check());
        unlocked.save();
        QVERIFY(!PyGILState_Check());
    }
    QVERIFY(PyGILState_Check());
    QVERIFY(!heldByInertWrapper);
    QVERIFY(heldInside);
    QVERIFY(!heldAfterRelease);
    QVERIFY(heldAfterEnsure);
    QCOMPARE(called, QStringLiteral("('worker',)"));
    QVERIFY(python->errors.isEmpty());
}

QTEST_GUILESS_MAIN(TestPython)
#include "tst_python.moc"
