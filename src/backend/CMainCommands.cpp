#include "CMain.h"

using protocol::Command;

// One line per command: the bytes are the catalogue's business.

void CMain::takePhoto() { send(Command::TakePhoto); }
void CMain::startRecord() { send(Command::StartRecord); }
void CMain::stopRecord() { send(Command::StopRecord); }

void CMain::stopMove() { send(Command::StopMove); }
void CMain::moveUp(int speed) { send(Command::MoveUp, speed); }
void CMain::moveDown(int speed) { send(Command::MoveDown, speed); }
void CMain::moveLeft(int speed) { send(Command::MoveLeft, speed); }
void CMain::moveRight(int speed) { send(Command::MoveRight, speed); }
void CMain::moveLeftUp(int xspeed, int yspeed) { send(Command::MoveLeftUp, xspeed, yspeed); }
void CMain::moveLeftDown(int xspeed, int yspeed) { send(Command::MoveLeftDown, xspeed, yspeed); }
void CMain::moveRightUp(int xspeed, int yspeed) { send(Command::MoveRightUp, xspeed, yspeed); }
void CMain::moveRightDown(int xspeed, int yspeed) { send(Command::MoveRightDown, xspeed, yspeed); }

void CMain::zoomIn(int speed) { send(Command::ZoomIn, speed); }
void CMain::zoomOut(int speed) { send(Command::ZoomOut, speed); }
void CMain::zoomStop() { send(Command::ZoomStop); }

void CMain::oneKeyDown() { send(Command::OneKeyDown); }
void CMain::oneKeyCenter() { send(Command::OneKeyCenter); }
void CMain::yawCenterOnly() { send(Command::YawCenterOnly); }
void CMain::pitchDownOnly() { send(Command::PitchDownOnly); }
void CMain::modeYawFollow() { send(Command::ModeYawFollow); }
void CMain::modeYawLock() { send(Command::ModeYawLock); }
void CMain::modeFPV() { send(Command::ModeFPV); }
void CMain::modeUpward() { send(Command::ModeUpward); }
void CMain::modeDownward() { send(Command::ModeDownward); }

void CMain::pointmoveto(int x, int y) { send(Command::Pointmoveto, x, y); }
void CMain::pointtrack(int x, int y) { send(Command::Pointtrack, x, y); }
void CMain::pointtrackstop() { send(Command::Pointtrackstop); }

void CMain::manualFocusClose() { send(Command::ManualFocusClose); }
void CMain::manualFocusOpen() { send(Command::ManualFocusOpen); }
void CMain::manualFocusStop() { send(Command::ManualFocusStop); }
void CMain::manualFocusNear() { send(Command::ManualFocusNear); }
void CMain::manualFocusFar() { send(Command::ManualFocusFar); }
void CMain::osdClose() { send(Command::OsdClose); }
void CMain::osdOpen() { send(Command::OsdOpen); }
void CMain::targetCheckClose() { send(Command::TargetCheckClose); }
void CMain::targetCheckOpen() { send(Command::TargetCheckOpen); }
void CMain::setFrameSize(int index) { send(Command::SetFrameSize, index); }
void CMain::trackAutoZoomClose() { send(Command::TrackAutoZoomClose); }
void CMain::trackAutoZoomOpen() { send(Command::TrackAutoZoomOpen); }
void CMain::continuousDistanceClose() { send(Command::ContinuousDistanceClose); }
void CMain::continuousDistanceOpen() { send(Command::ContinuousDistanceOpen); }
void CMain::clearFrogClose() { send(Command::ClearFrogClose); }
void CMain::clearFrogOpen() { send(Command::ClearFrogOpen); }
void CMain::electronicZoomClose() { send(Command::ElectronicZoomClose); }
void CMain::electronicZoomOpen() { send(Command::ElectronicZoomOpen); }
void CMain::laserLightClose() { send(Command::LaserLightClose); }
void CMain::laserLightOpen() { send(Command::LaserLightOpen); }
void CMain::setKjgZoomTo(int value) { send(Command::SetKjgZoomTo, value); }
void CMain::setRcxZoomTo(int value) { send(Command::SetRcxZoomTo, value); }

void CMain::gimbalSetOn() { send(Command::GimbalSetOn); }
void CMain::gimbalSetOff() { send(Command::GimbalSetOff); }
void CMain::gimbalSetReboot() { send(Command::GimbalSetReboot); }
void CMain::gimbalSetToPitchYaw(int pitch, int yaw)
{
    send(protocol::buildSetPitchYaw(pitch, yaw));
}

void CMain::setHZH(int type) { send(Command::SetHZH, type); }
void CMain::setWC(int type) { send(Command::SetWC, type); }
void CMain::rtspRecovery() { send(Command::RtspRecovery); }

void CMain::setProtocl(int type) { send(Command::SetProtocl, type); }
void CMain::setFrequency(int value) { send(Command::SetFrequency, value); }
void CMain::adjust_up(int size) { send(Command::AdjustUp, size); }
void CMain::adjust_down(int size) { send(Command::AdjustDown, size); }
void CMain::adjust_left(int size) { send(Command::AdjustLeft, size); }
void CMain::adjust_right(int size) { send(Command::AdjustRight, size); }
