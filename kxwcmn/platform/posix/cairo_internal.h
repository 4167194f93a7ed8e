#pragma once

#include <cairo.h>

#include <memory>

#include "kxwcmn/platform/types.h"

namespace kxw {

/// Frees what a C library counts or owns, by that library's function.
template <auto kFree>
struct Freer {
  template <class T>
  void operator()(T* object) const {
    kFree(object);
  }
};

using CairoOwner = std::unique_ptr<cairo_t, Freer<cairo_destroy>>;
using SurfaceOwner = std::unique_ptr<cairo_surface_t, Freer<cairo_surface_destroy>>;

/// What a context drew on when it was made, also when Cairo's own has failed since; null for null.
cairo_surface_t* PictureOf(HDC context);

}  // namespace kxw
