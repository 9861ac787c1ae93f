#version 120
// The core shader's quad with the damage layers' coordinates, each given per corner. Weave
// moves the whole frame in the gate: the frame's own coordinates shift, the layers stay.
attribute vec2 normalizedUV;
attribute vec2 borderUV;
attribute vec2 overlayUV;
attribute vec2 weaveOffset;
attribute vec2 gunkUV;

varying vec2 normalized_coordinate;
varying vec2 borderCoordinate;
varying vec2 overlayCoordinate;
varying vec2 gunkCoordinate;

void main()
{
    gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;
    gl_TexCoord[0] = gl_MultiTexCoord0 + vec4(weaveOffset, 0.0, 0.0);
    normalized_coordinate = normalizedUV;
    borderCoordinate = borderUV;
    overlayCoordinate = overlayUV;
    gunkCoordinate = gunkUV;
}
