#pragma once
// The outline builders of the star field: a star, a regular polygon and an uneven polygon
// inscribed in a box. Each answers a closed path. Points are turned about the box's centre
// with rotatePoint; every drawn x has its distance from the centre scaled by the box's
// width over its height.

#include <QPainterPath>

namespace cif {

// A star of max(count, 2) points: outer points on the circle of radius boxHeight / 2 from
// the bottom centre of the box, inner points at ratio times that radius (a ratio of 0 is
// taken as 0.005) turned half a point further.
QPainterPath PathStar(double x, double y, double width, double height, double ratio, int count);

// A regular polygon of max(count, 3) vertices from the bottom centre of the box; the ratio is
// not used.
QPainterPath PathPolygon(double x, double y, double width, double height, double ratio, int count);

// As PathPolygon, but each turn is 2 pi / N plus (rand() mod 3) / N, at most 2 pi: one number
// of the process-wide sequence per turn.
QPainterPath PathHaosPolygon(double x, double y, double width, double height, double ratio,
                             int count);

}  // namespace cif
