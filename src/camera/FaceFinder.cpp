#include "camera/FaceFinder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>

#include <dlfcn.h>

Q_LOGGING_CATEGORY(lcFaceFinder, "tarnwick.camera.faces", QtWarningMsg)

namespace {

#ifdef TARNWICK_FACE_MODULE
// Where the AVX2 module is: installed, in the library folder the
// application's own folder leads to; in a build tree, where it was built.
QStringList moduleCandidates()
{
    const QString name = QStringLiteral(TARNWICK_FACE_MODULE);
    QStringList candidates;
    if (QCoreApplication::instance() != nullptr) {
        candidates << QDir(QCoreApplication::applicationDirPath())
                          .filePath(QStringLiteral(TARNWICK_FACE_MODULE_FROM_BINDIR "/") + name);
    }
    candidates << QDir(QStringLiteral(TARNWICK_FACE_MODULE_BUILD_DIR)).filePath(name);
    return candidates;
}

// A finder from the module, or nothing when it is missing or cannot load.
// The module stays loaded for the life of the process: finders made from it
// may outlive any one caller.
std::unique_ptr<FaceFinder> loadModule()
{
    for (const QString &path : moduleCandidates()) {
        if (!QFileInfo(path).isFile())
            continue;
        // Local: the module's copy of the detector must never stand in for
        // the built-in one's symbols, or the other way round.
        void *module = dlopen(QFile::encodeName(path).constData(), RTLD_NOW | RTLD_LOCAL);
        if (module == nullptr) {
            qCWarning(lcFaceFinder) << "could not load" << path << ":" << dlerror();
            continue;
        }
        using Create = FaceFinder *(*)();
        auto create = reinterpret_cast<Create>(dlsym(module, "tarnwickCreateFaceFinder1"));
        if (create == nullptr) {
            qCWarning(lcFaceFinder) << path << "is not this version's face finder";
            dlclose(module);
            continue;
        }
        return std::unique_ptr<FaceFinder>(create());
    }
    return nullptr;
}
#endif

} // namespace

std::unique_ptr<FaceFinder> FaceFinder::create()
{
#ifdef TARNWICK_FACE_MODULE
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) {
        if (std::unique_ptr<FaceFinder> finder = loadModule())
            return finder;
        qCWarning(lcFaceFinder) << "the AVX2 face finder is not installed; using the built-in one";
    }
#endif
    return createBuiltIn();
}
