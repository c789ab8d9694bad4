// What would be a host's own libpng, of another version.
extern "C" void* png_create_write_struct(const char*, void*, void*, void*)
{
    return nullptr;
}
