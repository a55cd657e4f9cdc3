#include "picker/cube_picking.h"

#include <gtest/gtest.h>

namespace orrelux {
namespace {

const PlaneGeometry kPlane = PlaneGeometry::FromInnerSize(256, 249, 3); // L 123, centre 131,127
constexpr RgbColor kCurrent = 0x804020;                                 // 128, 64, 32

struct PickCase {
    int x, y;
    int incomingMode;
    int mode;
    int red, green, blue; // on the RGB cube
    int bearing;
};

class CubePicking : public ::testing::TestWithParam<PickCase> {};

TEST_P(CubePicking, RgbCube) {
    const PickCase c = GetParam();
    const CubePick pick = PickCubeColor(c.x, c.y, true, c.incomingMode, kCurrent, kPlane);
    EXPECT_EQ(pick.mode, c.mode);
    EXPECT_EQ(pick.colour,
              (RgbChannels{static_cast<std::uint8_t>(c.red), static_cast<std::uint8_t>(c.green),
                           static_cast<std::uint8_t>(c.blue)}))
        << int{pick.colour.red} << "," << int{pick.colour.green} << "," << int{pick.colour.blue};
    EXPECT_EQ(CubeBearing(c.x, c.y, kPlane), c.bearing);
}

// The CMY cube measures amounts of cyan, magenta and yellow: with the complement as the
// current colour the same position gives the same mode and the complement of every channel.
TEST_P(CubePicking, CmyCubeGivesTheComplement) {
    const PickCase c = GetParam();
    const CubePick pick =
        PickCubeColor(c.x, c.y, false, c.incomingMode, 0xFFFFFF - kCurrent, kPlane);
    EXPECT_EQ(pick.mode, c.mode);
    EXPECT_EQ(pick.colour, (RgbChannels{static_cast<std::uint8_t>(255 - c.red),
                                        static_cast<std::uint8_t>(255 - c.green),
                                        static_cast<std::uint8_t>(255 - c.blue)}));
}

INSTANTIATE_TEST_SUITE_P(
    Positions, CubePicking,
    ::testing::Values(
        // First steps: the three axis markers, then each face away from them.
        PickCase{131, 64, kCubeDragNone, kCubeDragVerticalAxis, 130, 64, 32, 0},
        PickCase{104, 143, kCubeDragNone, kCubeDragLeftAxis, 128, 65, 32, 239},
        PickCase{145, 136, kCubeDragNone, kCubeDragRightAxis, 128, 64, 35, 123},
        PickCase{191, 77, kCubeDragNone, kCubeDragRightWall, 175, 0, 142, 50},
        PickCase{71, 77, kCubeDragNone, kCubeDragLeftWall, 175, 142, 0, 310},
        PickCase{131, 187, kCubeDragNone, kCubeDragFloor, 0, 124, 124, 180},
        // Later steps: a face mode follows the face, an axis mode keeps its axis.
        PickCase{191, 77, kCubeDragRightWall, kCubeDragRightWall, 175, 0, 142, 50},
        PickCase{71, 137, kCubeDragRightAxis, kCubeDragRightAxis, 128, 64, 0, 261},
        PickCase{191, 137, kCubeDragLeftAxis, kCubeDragLeftAxis, 128, 0, 32, 99},
        PickCase{161, 167, kCubeDragRightAxis, kCubeDragRightAxis, 128, 64, 118, 143},
        PickCase{101, 167, kCubeDragLeftAxis, kCubeDragLeftAxis, 128, 118, 32, 217},
        PickCase{151, 77, kCubeDragVerticalAxis, kCubeDragVerticalAxis, 103, 64, 32, 22},
        // A face mode slides onto the floor and back onto a wall.
        PickCase{131, 187, kCubeDragLeftWall, kCubeDragFloor, 0, 124, 124, 180},
        // Beyond the top of the hexagon red is held at 255; far from red's marker, so a wall.
        PickCase{131, 3, kCubeDragNone, kCubeDragRightWall, 255, 0, 0, 0}));

TEST(CubePickingCentre, BlackGrabsTheVerticalAxisOnTheLeftWall) {
    EXPECT_EQ(CubeBearing(131, 127, kPlane), 270);
    const CubePick pick = PickCubeColor(131, 127, true, kCubeDragNone, 0x000000, kPlane);
    EXPECT_EQ(pick.mode, kCubeDragVerticalAxis);
    EXPECT_EQ(pick.colour, (RgbChannels{0, 0, 0}));
}

TEST(CubePickingCmy, LeftWallAwayFromTheAxesLeavesYellowOut) {
    const CubePick pick = PickCubeColor(71, 77, false, kCubeDragNone, 0x804020, kPlane);
    EXPECT_EQ(pick.mode, kCubeDragLeftWall);
    EXPECT_EQ(pick.colour.blue, 255);
    EXPECT_EQ(pick.colour, (RgbChannels{80, 113, 255}));
}

TEST(CubeBearing, QuartersRunClockwiseFromTheTop) {
    const struct {
        int x, y, bearing;
    } cases[] = {{131, 100, 0},  {200, 127, 90}, {131, 200, 180},
                 {50, 127, 270}, {150, 108, 45}, {112, 108, 315}};
    for (const auto& c : cases)
        EXPECT_EQ(CubeBearing(c.x, c.y, kPlane), c.bearing) << c.x << "," << c.y;
}

TEST(NormalizeDegrees, WholeTurnsGoAndTheFractionStays) {
    const struct {
        double angle, expected;
    } cases[] = {{0.0, 0.0},      {359.5, 359.5},  {360.0, 0.0},
                 {720.25, 0.25},  {-90.0, 270.0},  {-0.5, 359.5},
                 {-360.0, 360.0}, {-725.0, 355.0}, {1e10 + 0.5, 280.5}};
    for (const auto& c : cases)
        EXPECT_DOUBLE_EQ(NormalizeDegrees(c.angle), c.expected) << c.angle;
}

} // namespace
} // namespace orrelux
