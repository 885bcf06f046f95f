// vela-info xform: composes a transform from components and prints its matrix, its inverse
// and the matrix decomposed again into scale, shear, rotation and translation.
#include "VelaInfoCommand.h"

#include <velacore/geometry/TxformMatrix.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr double kDegrees = 57.29577951308232;

void help(std::FILE* out) {
  std::fputs(
      "usage: vela-info xform [--scale X,Y,Z] [--shear A,B,C] [--rotate X,Y,Z] [--order ORDER]\n"
      "                       [--translate X,Y,Z] [--scale-pivot X,Y,Z] [--rotate-pivot X,Y,Z]\n"
      "Composes the transform (row vectors, translation in the fourth row) and prints its\n"
      "matrix, its inverse and its decomposition. Angles are degrees; ORDER is one of\n"
      "xyz yzx zxy xzy yxz zyx (the first axis applies first).\n",
      out);
}

bool parseTriple(const char* text, double (&v)[3]) {
  const char* p = text;
  for (int i = 0; i < 3; ++i) {
    char* end = nullptr;
    v[i] = std::strtod(p, &end);
    if (end == p || !std::isfinite(v[i])) return false;
    if (i < 2 && *end != ',') return false;
    if (i == 2 && *end != '\0') return false;
    p = end + 1;
  }
  return true;
}

void printMatrix(const char* title, const T4dDblMatrix& m) {
  std::printf("%s:\n", title);
  for (int r = 0; r < 4; ++r) {
    std::printf(" ");
    // Adding 0.0 turns -0 into 0, so exact zeros print the same whatever their sign.
    for (int c = 0; c < 4; ++c) std::printf(" %.10g", m(r, c) + 0.0);
    std::printf("\n");
  }
}

int run(int argc, char** argv) {
  static const char* const kOrders[6] = {"xyz", "yzx", "zxy", "xzy", "yxz", "zyx"};
  TxformMatrix x;
  double rot[3] = {0.0, 0.0, 0.0};
  int order = 0;
  for (int i = 2; i < argc; ++i) {
    const char* opt = argv[i];
    if (i + 1 >= argc) {
      std::fprintf(stderr, "vela-info xform: %s needs a value\n", opt);
      return 2;
    }
    const char* value = argv[++i];
    if (std::strcmp(opt, "--order") == 0) {
      order = -1;
      for (int o = 0; o < 6; ++o)
        if (std::strcmp(value, kOrders[o]) == 0) order = o;
      if (order < 0) {
        std::fprintf(stderr, "vela-info xform: unknown order: %s\n", value);
        return 2;
      }
      continue;
    }
    double v[3];
    if (!parseTriple(value, v)) {
      std::fprintf(stderr, "vela-info xform: %s wants three numbers X,Y,Z, not: %s\n", opt, value);
      return 2;
    }
    if (std::strcmp(opt, "--scale") == 0) x.scaleTo(Tscale(v[0], v[1], v[2]));
    else if (std::strcmp(opt, "--shear") == 0) x.shearTo(Tshear(v[0], v[1], v[2]));
    else if (std::strcmp(opt, "--rotate") == 0) std::memcpy(rot, v, sizeof rot);
    else if (std::strcmp(opt, "--translate") == 0) x.translateTo(TdblVector(v[0], v[1], v[2]));
    else if (std::strcmp(opt, "--scale-pivot") == 0) x.setScalePivot(TdblVector(v[0], v[1], v[2]));
    else if (std::strcmp(opt, "--rotate-pivot") == 0) x.setRotatePivot(TdblVector(v[0], v[1], v[2]));
    else {
      std::fprintf(stderr, "vela-info xform: unknown option: %s\n", opt);
      return 2;
    }
  }
  const auto rotOrder = static_cast<TrotateXYZ::TrotOrder>(order);
  x.rotateTo(TrotateXYZ(rot[0] / kDegrees, rot[1] / kDegrees, rot[2] / kDegrees, rotOrder));
  const T4dDblMatrix m = x.matrix();
  printMatrix("matrix", m);
  bool invertible = false;
  (void)m.inverse(&invertible);
  if (!invertible) {
    std::printf("inverse: none (singular)\n");
    return 0;
  }
  printMatrix("inverse", x.inverse());
  TxformMatrix parts;
  if (!TxformMatrix::decompose(m, parts, rotOrder)) return 0;
  const auto show = [](const char* name, double a, double b, double c) {
    std::printf("%s: %.10g %.10g %.10g\n", name, a + 0.0, b + 0.0, c + 0.0);
  };
  show("scale", parts.scale()[0], parts.scale()[1], parts.scale()[2]);
  show("shear", parts.shear()[0], parts.shear()[1], parts.shear()[2]);
  const TrotateXYZ r = parts.rotationXYZ();
  std::printf("rotate (%s, degrees): %.10g %.10g %.10g\n", kOrders[order], r.x * kDegrees + 0.0,
              r.y * kDegrees + 0.0, r.z * kDegrees + 0.0);
  show("translate", parts.translation()[0], parts.translation()[1], parts.translation()[2]);
  return 0;
}

const TvelaInfoCommand kXform{"xform", "[--scale X,Y,Z] [--rotate X,Y,Z] ...",
                              "compose a transform; print matrix, inverse, decomposition", run,
                              help};

}  // namespace

VELA_INFO_REGISTER(kXform);
