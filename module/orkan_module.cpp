// orkan_module.cpp: the interpreter module `_orkan`. Its one function, orkan(list), makes an argument vector of a list
// of strings, runs the sort and returns the status.
//
// By design the arguments are shown on standard error before every run, the interpreter lock is kept during the sort,
// and a failed sort is a number, not an exception. The package `orkan` beside this file is the comfortable way in.
#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "orkan/orkan.h"

namespace {

/// A program's name and arguments in system memory, as orkan_file takes them: writable and NUL-terminated.
class ArgumentVector {
  public:
    ArgumentVector() = default;
    ArgumentVector(const ArgumentVector &) = delete;
    ArgumentVector &operator=(const ArgumentVector &) = delete;
    ~ArgumentVector() {
        for (int i = 0; i < count_; ++i) {
            std::free(texts_[i]);
        }
        std::free(texts_);
    }

    /// Room for the name and `arguments` more, and the name. False when memory is refused or a count is beyond an int.
    bool open(const char *name, Py_ssize_t arguments) {
        if (arguments >= INT_MAX) {
            return false;
        }
        texts_ = static_cast<char **>(std::malloc((static_cast<std::size_t>(arguments) + 1) * sizeof(char *)));
        return texts_ != nullptr && keep(strdup(name));
    }

    /// Appends a copy of the text. False when memory is refused.
    bool add(const char *text, Py_ssize_t length) {
        const auto bytes = static_cast<std::size_t>(length);
        auto *copy = static_cast<char *>(std::malloc(bytes + 1));
        if (copy != nullptr) {
            std::memcpy(copy, text, bytes);
            copy[bytes] = '\0';
        }
        return keep(copy);
    }

    [[nodiscard]] int count() const { return count_; }
    [[nodiscard]] char **texts() const { return texts_; }

  private:
    bool keep(char *text) {
        if (text == nullptr) {
            return false;
        }
        texts_[count_++] = text;
        return true;
    }

    char **texts_ = nullptr;
    int count_ = 0;
};

/// False with the exception set.
bool add_item(ArgumentVector &vector, PyObject *item) {
    if (PyUnicode_Check(item) == 0) {
        PyErr_SetString(PyExc_TypeError, "All arguments must be strings");
        return false;
    }
    Py_ssize_t length = 0;
    const char *text = PyUnicode_AsUTF8AndSize(item, &length);
    if (text == nullptr || !vector.add(text, length)) {
        PyErr_NoMemory(); // Kept: a text that UTF-8 cannot express, too, is reported as a lack of memory.
        return false;
    }
    return true;
}

/// False with the exception set.
bool fill(ArgumentVector &vector, PyObject *list) {
    const Py_ssize_t length = PyList_GET_SIZE(list);
    if (!vector.open("orkan", length)) {
        PyErr_NoMemory();
        return false;
    }
    for (Py_ssize_t i = 0; i < length; ++i) {
        if (!add_item(vector, PyList_GET_ITEM(list, i))) {
            return false;
        }
    }
    return true;
}

void show(const ArgumentVector &vector) {
    constexpr const char *kBanner = "==== Convert Python Params To C ====\n";
    std::fputs(kBanner, stderr);
    for (int i = 0; i < vector.count(); ++i) {
        std::fprintf(stderr, "argv[%d] = \"%s\"\n", i, vector.texts()[i]);
    }
    std::fputs(kBanner, stderr);
    std::fflush(stderr);
}

PyObject *run(PyObject * /*module*/, PyObject *args) {
    PyObject *list = nullptr;
    if (PyArg_ParseTuple(args, "O!", &PyList_Type, &list) == 0) {
        return nullptr;
    }
    ArgumentVector vector;
    if (!fill(vector, list)) {
        return nullptr;
    }
    show(vector);
    return PyLong_FromLong(orkan_file(vector.count(), vector.texts()));
}

PyMethodDef methods[] = {
    {"orkan", run, METH_VARARGS, "Run orkan with argument list"},
    {nullptr, nullptr, 0, nullptr},
};

PyModuleDef definition = {
    PyModuleDef_HEAD_INIT, "_orkan", nullptr, -1, methods, nullptr, nullptr, nullptr, nullptr,
};

} // namespace

static_assert(PYTHON_API_VERSION == 1013);

PyMODINIT_FUNC PyInit__orkan() { return PyModule_Create2(&definition, PYTHON_API_VERSION); }
