// What a pointer position on the cube pages means.
//
// The cube picture shows three faces of a solid, so one position can't name a colour by
// itself. A press near one of the three axis markers grabs that marker and the drag then moves
// only that channel along its axis; a press anywhere else lands on a wall or the floor, which
// sets the two channels of that face and puts the third at its base. The drag mode carries the
// choice from step to step: an axis mode lasts until the button is released, a face mode is
// chosen afresh at each step from the face under the pointer.
#pragma once

#include "colour/colour_values.h"
#include "picker/plane_geometry.h"

namespace orrelux {

// Values of the picker's CubeDragMode. Odd modes hold one axis, even modes follow the faces.
constexpr int kCubeDragNone = -1;
constexpr int kCubeDragVerticalAxis = 1; // red (cyan on the CMY cube)
constexpr int kCubeDragRightWall = 2;    // red and blue
constexpr int kCubeDragRightAxis = 3;    // blue (yellow)
constexpr int kCubeDragFloor = 4;        // green and blue
constexpr int kCubeDragLeftAxis = 5;     // green (magenta)
constexpr int kCubeDragLeftWall = 6;     // red and green

struct CubePick {
    RgbChannels colour; // red, green, blue, each already turned back from CMY on that cube
    int mode;           // the new drag mode
};

// Whole degrees clockwise from straight up around the cube's centre corner: 0 above, 90 to the
// right, 180 below, 270 to the left; it can be 360. Built on pi, unlike the picture's 3.14.
int CubeBearing(int x, int y, const PlaneGeometry& geometry);

// One step of a cube drag at (x, y), in the plane's client coordinates, already held to the
// inner plane. additive is true on the RGB cube; dragMode is the mode of the drag so far
// (kCubeDragNone on its first step); current is the picker's colour, whose channels the axis
// modes keep and against which the axis markers are recognised. Writes nothing: the caller
// stores the mode.
CubePick PickCubeColor(int x, int y, bool additive, int dragMode, RgbColor current,
                       const PlaneGeometry& geometry);

} // namespace orrelux
