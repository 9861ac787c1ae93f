#version 120
// Quads arrive in clip space with identity matrices; the texture coordinate is in pixels of
// the rectangle texture.
void main()
{
    gl_Position = gl_ModelViewProjectionMatrix * gl_Vertex;
    gl_TexCoord[0] = gl_MultiTexCoord0;
}
