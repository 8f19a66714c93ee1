#include "Kal/Base/KalException.h"
#include "Modules.h"

#include <exception>

PYBIND11_MODULE(_kalmarble, module)
{
    module.attr("__version__") = KAL_VERSION;
    pybind11::register_exception_translator([](std::exception_ptr error) {
        try {
            std::rethrow_exception(std::move(error));
        } catch (const kal::Exception& e) {
            PyErr_SetString(PyExc_ValueError, e.what());
        }
    });
    kalpython::AddEngine(module);
    kalpython::AddScenes(module);
}
